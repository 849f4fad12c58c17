#include "mirvoctl/Arguments.h"

#include <utils/Timers.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace mirvoctl {
namespace {

struct Named {
    const char* name;
    int32_t value;
};

// Android's key codes, those that the service tells apart.
constexpr Named kKeys[] = {
    {"back", 4},          {"volume-up", 24}, {"volume-down", 25}, {"power", 26},    {"menu", 82},
    {"play-pause", 85},   {"stop", 86},      {"next", 87},        {"previous", 88}, {"rewind", 89},
    {"fast-forward", 90}, {"play", 126},     {"pause", 127},
};

// Android's motion actions.
constexpr Named kActions[] = {{"down", 0}, {"up", 1}, {"move", 2}, {"pointer-down", 5}};

template <typename Number, size_t Size>
Number valueOf(const Named (&names)[Size], const char* what, const std::string& given) {
    for (const Named& row : names) {
        if (given == row.name) return static_cast<Number>(row.value);
    }
    const auto value = tool::toNumber<Number>(given);
    if (!value) throw CLI::ValidationError(what, "neither a name nor a number: " + given);
    return *value;
}

template <size_t Size>
std::vector<std::string> namesOf(const Named (&names)[Size]) {
    std::vector<std::string> all;
    for (const Named& row : names)
        all.emplace_back(row.name);
    return all;
}

}  // namespace

uint32_t keyCode(const std::string& key) {
    return valueOf<uint32_t>(kKeys, "CODE", key);
}

int motionAction(const std::string& action) {
    return valueOf<int32_t>(kActions, "ACTION", action);
}

std::vector<std::string> keyNames() {
    return namesOf(kKeys);
}

std::vector<std::string> actionNames() {
    return namesOf(kActions);
}

std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

TouchEvent::TouchEvent() : time(static_cast<uint64_t>(systemTime() / 1'000'000)) {}

void TouchEvent::addPointer(const std::string& pointer) {
    size_t from = 0;
    for (auto* array : {&array1, &array2, &array3}) {
        const bool last = array == &array3;
        const size_t comma = last ? pointer.size() : pointer.find(',', from);
        const auto number = comma == std::string::npos
                                ? std::nullopt
                                : tool::toNumber<unsigned int>(pointer.substr(from, comma - from));
        if (!number) throw CLI::ValidationError("POINTER", "not three numbers: " + pointer);
        array->push_back(*number);
        from = comma + 1;
    }
}

std::vector<uint8_t> bytesOf(const std::string& data) {
    if (data.substr(0, 1) == "@") {
        std::ifstream file(data.substr(1), std::ios::binary);
        std::vector<uint8_t> bytes;
        // In parts: a folder opens like a file, and only read() reports it as an error.
        char part[4096];
        while (file.read(part, sizeof(part)) || file.gcount() > 0) {
            bytes.insert(bytes.end(), part, part + file.gcount());
        }
        if (!file.eof()) throw CLI::ValidationError("DATA", "cannot read " + data.substr(1));
        return bytes;
    }
    const auto bytes = tool::fromHex(data);
    if (!bytes) throw CLI::ValidationError("DATA", "not pairs of hexadecimal digits: " + data);
    return *bytes;
}

}  // namespace mirvoctl

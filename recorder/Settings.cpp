#include "recorder/Settings.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "recorder/Log.h"
#include "recording/Record.h"

namespace recorder {
namespace {

constexpr uint64_t kSmallest = uint64_t{64} << 10;

// secure_getenv gives nothing in a program that runs with other rights than its user's. Such a
// program must not write where its user tells it to.
const char* variable(const char* name) {
    const char* value = secure_getenv(name);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

}  // namespace

std::string withProcess(std::string path) {
    const std::string process = std::to_string(getpid());
    for (size_t place = 0; (place = path.find("%p", place)) != std::string::npos;)
        path.replace(place, 2, process);
    return path;
}

std::optional<uint64_t> parseLimit(const std::string& text) {
    const size_t digits = text.find_first_not_of("0123456789");
    const std::string unit = digits == std::string::npos ? "" : text.substr(digits);
    int shift = 0;
    if (unit == "K") {
        shift = 10;
    } else if (unit == "M") {
        shift = 20;
    } else if (unit == "G") {
        shift = 30;
    } else if (!unit.empty()) {
        return std::nullopt;
    }
    // A number with more digits could not be a size of a file, and could overflow when it is
    // shifted.
    if (digits == 0 || text.size() - unit.size() > 10) return std::nullopt;
    const uint64_t limit = strtoull(text.c_str(), nullptr, 10) << shift;
    if (limit < kSmallest) return std::nullopt;
    return limit;
}

std::optional<uint16_t> parseLeftOut(const std::string& text) {
    uint16_t leftOut = 0;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        if (word == "input") {
            leftOut |= recording::kLeftOutInput;
        } else if (word == "text") {
            leftOut |= recording::kLeftOutText;
        } else if (word == "bytes") {
            leftOut |= recording::kLeftOutBytes;
        } else {
            return std::nullopt;
        }
    }
    return leftOut;
}

std::optional<Settings> readSettings() {
    const char* path = variable("ZRMIRVO_RECORDING");
    if (path == nullptr) return std::nullopt;
    Settings settings;
    settings.path = withProcess(path);
    if (const char* limit = variable("ZRMIRVO_RECORDING_LIMIT")) {
        const auto parsed = parseLimit(limit);
        if (!parsed) {
            logError("no recording: ZRMIRVO_RECORDING_LIMIT is no size of 64K or more: %s", limit);
            return std::nullopt;
        }
        settings.limit = *parsed;
    }
    if (const char* words = variable("ZRMIRVO_RECORDING_WITHOUT")) {
        const auto parsed = parseLeftOut(words);
        if (!parsed) {
            logError("no recording: ZRMIRVO_RECORDING_WITHOUT takes input, text and bytes: %s",
                     words);
            return std::nullopt;
        }
        settings.leftOut = *parsed;
    }
    return settings;
}

}  // namespace recorder

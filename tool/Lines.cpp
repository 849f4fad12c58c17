#include "tool/Lines.h"

#include <sstream>

namespace tool {
namespace {

// How much is left of each end of a line.
constexpr size_t kEnd = 1000;

// The next place that is not within a character of several bytes.
size_t betweenCharacters(const std::string& line, size_t place) {
    while (place < line.size() && (static_cast<unsigned char>(line[place]) & 0xC0) == 0x80)
        ++place;
    return place;
}

}  // namespace

std::string dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string pairs(const Json& values) {
    std::string line;
    for (const auto& [name, value] : values.items())
        line += ' ' + name + '=' + dump(value);
    return line;
}

std::string shortened(const std::string& text) {
    std::string all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!all.empty()) all += '\n';
        if (line.size() <= 2 * kEnd) {
            all += line;
            continue;
        }
        const size_t begin = betweenCharacters(line, kEnd);
        const size_t end = betweenCharacters(line, line.size() - kEnd);
        all += line.substr(0, begin) + " [" + std::to_string(end - begin) + " more bytes] " +
               line.substr(end);
    }
    return all;
}

}  // namespace tool

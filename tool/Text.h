#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reads words, numbers and bytes as users type them for the tools, and shows bytes.

namespace tool {

using Bytes = std::vector<uint8_t>;

// Returns the words of a line. A word that begins with '#' ends the line. Double quotes keep blanks
// in a word. Returns nothing when a quote stays open.
std::optional<std::vector<std::string>> splitWords(std::string_view line);

// Reads pairs of hexadecimal digits, with or without blanks between pairs. Otherwise nothing.
std::optional<Bytes> fromHex(std::string_view text);
std::string toHex(const void* data, size_t size);

// Reads all of `text` as a decimal number, or as a hexadecimal one behind 0x. Returns nothing
// when it is something else or does not fit.
template <typename Number>
std::optional<Number> toNumber(std::string_view text) {
    const bool hex = text.substr(0, 2) == "0x";
    if (hex) text.remove_prefix(2);
    if (hex && text.substr(0, 1) == "-") return std::nullopt;
    Number value{};
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value, hex ? 16 : 10);
    if (error != std::errc() || last != end) return std::nullopt;
    return value;
}

}  // namespace tool

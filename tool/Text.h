#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How the tools read words, numbers and bytes, and show bytes.

namespace tool {

using Bytes = std::vector<uint8_t>;

// The words of a line up to a word that begins with '#'. Double quotes keep blanks in a word.
// Nothing when a quote stays open.
std::optional<std::vector<std::string>> splitWords(std::string_view line);

// Hexadecimal digits in pairs, blanks between pairs ignored. Nothing for anything else.
std::optional<Bytes> fromHex(std::string_view text);
std::string toHex(const void* data, size_t size);

// The whole of `text` as a decimal number, or a hexadecimal one behind 0x. Nothing when it is
// something else or does not fit.
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

#include "tool/Text.h"

#include <cctype>

namespace tool {
namespace {

bool isBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

std::optional<std::vector<std::string>> splitWords(std::string_view line) {
    std::vector<std::string> words;
    bool quoted = false;
    bool inWord = false;
    for (const char c : line) {
        if (!quoted && isBlank(c)) {
            inWord = false;
            continue;
        }
        if (!inWord && !quoted && c == '#') break;
        if (!inWord) words.emplace_back();
        inWord = true;
        if (c == '"') {
            quoted = !quoted;
        } else {
            words.back() += c;
        }
    }
    if (quoted) return std::nullopt;
    return words;
}

std::optional<Bytes> fromHex(std::string_view text) {
    Bytes bytes;
    for (size_t i = 0; i < text.size();) {
        if (isBlank(text[i])) {
            ++i;
            continue;
        }
        uint8_t value = 0;
        const std::string_view pair = text.substr(i, 2);
        const auto [last, error] =
            std::from_chars(pair.data(), pair.data() + pair.size(), value, 16);
        if (error != std::errc() || last != pair.data() + 2) return std::nullopt;
        bytes.push_back(value);
        i += 2;
    }
    return bytes;
}

std::string toHex(const void* data, size_t size) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::string hex;
    for (size_t i = 0; i < size; ++i) {
        hex += kDigits[bytes[i] >> 4];
        hex += kDigits[bytes[i] & 15];
    }
    return hex;
}

}  // namespace tool

#include "tests/support/TextContent.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace testing_support {

using android::sp;

int32_t TextWriter::add(const std::string& operation) {
    if (!mText.empty()) mText += ", ";
    mText += operation;
    return 0;
}

std::string bufferText(const void* data, size_t length) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string bytes;
    for (size_t i = 0; i < length; ++i) {
        const uint8_t byte = static_cast<const uint8_t*>(data)[i];
        if (i > 0) bytes += ' ';
        bytes += kDigits[byte >> 4];
        bytes += kDigits[byte & 15];
    }
    return "{" + bytes + "}";
}

int32_t TextWriter::writeCString(const char* text) {
    add("\"" + std::string(text) + "\"");
    return mTextStatus;
}

TextReader::TextReader(const std::string& text) {
    for (size_t position = 0; position < text.size();) {
        mValues.push_back(parse(text, position));
        if (position < text.size() && text.compare(position, 2, ", ") != 0) {
            throw std::invalid_argument("content: " + text);
        }
        position += 2;
    }
}

TextReader::Value TextReader::parse(const std::string& text, size_t& position) {
    const char first = text[position];
    if (first == '"' || first == '{') {
        const size_t end = text.find(first == '"' ? '"' : '}', position + 1);
        std::string inside = text.substr(position + 1, end - position - 1);
        position = end + 1;
        if (first == '"') return {Kind::kText, 0, inside};
        std::string bytes;
        for (size_t i = 0; i < inside.size(); i += 3) {
            bytes += static_cast<char>(std::stoi(inside.substr(i, 2), nullptr, 16));
        }
        return {Kind::kBuffer, 0, bytes};
    }
    if (text.compare(position, 4, "null") == 0) {
        position += 4;
        return {Kind::kNull, 0, {}};
    }
    size_t length = 0;
    const int64_t number = std::stoll(text.substr(position), &length);
    position += length;
    if (position == text.size() || text[position] != 'L') return {Kind::kInt32, number, {}};
    ++position;
    return {Kind::kInt64, number, {}};
}

const TextReader::Value* TextReader::next(Kind kind) {
    if (atEnd()) return nullptr;
    const Value& value = mValues[mNext++];
    return value.kind == kind ? &value : nullptr;
}

int32_t TextReader::readBuffer(void* dest, int64_t length) {
    const Value* value = next(Kind::kBuffer);
    if (value == nullptr || static_cast<int64_t>(value->bytes.size()) != length) return -1;
    memcpy(dest, value->bytes.data(), value->bytes.size());
    return 0;
}

int32_t TextReader::readInt32() {
    const Value* value = next(Kind::kInt32);
    return value == nullptr ? 0 : static_cast<int32_t>(value->number);
}

int64_t TextReader::readInt64() {
    const Value* value = next(Kind::kInt64);
    return value == nullptr ? 0 : value->number;
}

const char* TextReader::readCString() {
    const Value* value = next(Kind::kText);
    return value == nullptr ? nullptr : value->bytes.c_str();
}

std::string contentOf(SerializationBase& message, int32_t textStatus) {
    const sp<TextWriter> writer = new TextWriter(textStatus);
    sp<SerializationContent> content = writer;
    message.serialization(content);
    return writer->text();
}

void readContent(SerializationBase& message, const std::string& text) {
    sp<DeserializationContent> content = new TextReader(text);
    message.deserialization(content);
}

std::pair<int32_t, std::string> splitMessage(const std::string& message) {
    size_t length = 0;
    const int32_t code = std::stoi(message, &length);
    const size_t content = message.find_first_not_of(": ", length);
    return {code, content == std::string::npos ? "" : message.substr(content)};
}

}  // namespace testing_support

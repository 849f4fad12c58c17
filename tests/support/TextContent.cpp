#include "tests/support/TextContent.h"

#include <algorithm>
#include <cctype>

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
    for (size_t begin = 0; begin < text.size();) {
        const char closing = text[begin] == '"' ? '"' : text[begin] == '{' ? '}' : ',';
        const size_t inside = text.find(closing, begin + 1);
        const size_t end = std::min(text.find(", ", inside), text.size());
        mOperations.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
}

std::string TextReader::next(char kind) {
    if (atEnd()) return "";
    const std::string& operation = mOperations[mNext++];
    const char last = operation.empty() ? 'e' : operation.back();
    return (isdigit(last) != 0 ? '0' : last) == kind ? operation : "";
}

int32_t TextReader::readBuffer(void* dest, int64_t length) {
    const std::string operation = next('}');
    std::vector<uint8_t> bytes;
    for (size_t i = 1; i + 2 < operation.size(); i += 3)
        bytes.push_back(static_cast<uint8_t>(std::stoi(operation.substr(i, 2), nullptr, 16)));
    if (static_cast<int64_t>(bytes.size()) != length) return -1;
    std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(dest));
    return 0;
}

const char* TextReader::readCString() {
    mText = next('"');
    if (mText.empty()) return nullptr;
    mText = mText.substr(1, mText.size() - 2);
    return mText.c_str();
}

std::string contentOf(SerializationBase& message, int32_t textStatus) {
    const sp<TextWriter> writer = new TextWriter(textStatus);
    sp<SerializationContent> content = writer;
    message.serialization(content);
    return writer->text();
}

bool readContent(SerializationBase& message, const std::string& text) {
    const sp<TextReader> reader = new TextReader(text);
    sp<DeserializationContent> content = reader;
    message.deserialization(content);
    return reader->atEnd();
}

std::pair<int32_t, std::string> splitMessage(const std::string& message) {
    size_t length = 0;
    const int32_t code = std::stoi(message, &length);
    const size_t content = message.find_first_not_of(": ", length);
    return {code, content == std::string::npos ? "" : message.substr(content)};
}

}  // namespace testing_support

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "protocol/ServiceFramework.h"

// Contents as tests write them by hand: one operation after the other, separated by ", ".
//
//     131         a 32-bit integer
//     -1L         a 64-bit integer
//     "mirvo"     a text, without escapes
//     {0a ff}     a buffer
//     null        a text that cannot be read
//
// A whole message is its type code, ": " and its content: `131: 1, -1, -1L, ".", 0`.

namespace testing_support {

using accessory::DeserializationContent;
using accessory::SerializationBase;
using accessory::SerializationContent;

// Writes a buffer in this form.
std::string bufferText(const void* data, size_t length);

class TextWriter final : public SerializationContent {
public:
    // Every writeCString answers `textStatus`.
    explicit TextWriter(int32_t textStatus = 0) : mTextStatus(textStatus) {}

    int32_t writeBuffer(const void* data, int64_t length) override {
        return add(bufferText(data, static_cast<size_t>(length)));
    }
    int32_t writeInt32(int32_t value) override { return add(std::to_string(value)); }
    int32_t writeInt64(int64_t value) override { return add(std::to_string(value) + "L"); }
    int32_t reserved1() override { return add("reserved1"); }
    int32_t reserved2() override { return add("reserved2"); }
    int32_t writeCString(const char* text) override;

    const std::string& text() const { return mText; }

private:
    int32_t add(const std::string& operation);

    const int32_t mTextStatus;
    std::string mText;
};

// When an operation does not fit what comes next, it skips that and behaves as at the end: it
// returns 0 or null, or leaves the buffer as it is.
class TextReader final : public DeserializationContent {
public:
    explicit TextReader(const std::string& text);

    int32_t readBuffer(void* dest, int64_t length) override;
    int32_t readInt32() override { return static_cast<int32_t>(atoll(next('0').c_str())); }
    int64_t readInt64() override { return atoll(next('L').c_str()); }
    int32_t reserved1() override { return -1; }
    int32_t reserved2() override { return -1; }
    const char* readCString() override;

    bool atEnd() const { return mNext == mOperations.size(); }

private:
    // The next operation as it is written. Empty unless it ends with `kind`; '0' stands for any
    // digit.
    std::string next(char kind);

    std::vector<std::string> mOperations;
    size_t mNext = 0;
    std::string mText;
};

// Returns what `message` writes; makes it read, and returns whether it has read all of the content.
std::string contentOf(SerializationBase& message, int32_t textStatus = 0);
bool readContent(SerializationBase& message, const std::string& content);

// Splits `131: 1, -1` into code and content.
std::pair<int32_t, std::string> splitMessage(const std::string& message);

}  // namespace testing_support

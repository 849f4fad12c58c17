#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "framework/Frame.h"
#include "protocol/ServiceFramework.h"

// Message contents as bytes: integers in the machine's own order and without padding, blocks as
// they are, strings with the zero behind them. A content is used for one message after another and
// keeps its memory.

namespace accessory::framework {

// The write side. Leaves room for a frame header before the content, so that a message that fits
// into one datagram leaves in one piece.
class WriteContent final : public SerializationContent {
public:
    int32_t writeBuffer(const void* data, int64_t length) override;
    int32_t writeInt32(int32_t value) override;
    int32_t writeInt64(int64_t value) override;
    int32_t reserved1() override;
    int32_t reserved2() override;
    int32_t writeCString(const char* text) override;

    void clear() {
        mSize = 0;
        mTooLong = false;
    }
    // The header's place; the content follows it.
    uint8_t* frame() { return mFrame.get(); }
    const uint8_t* content() const { return mFrame.get() + kHeaderSize; }
    size_t size() const { return mSize; }
    // Whether something did not fit under the limit and is missing.
    bool tooLong() const { return mTooLong; }

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    bool reserve(size_t more);
    int32_t append(const void* data, size_t length);
    static std::unique_ptr<uint8_t, Free> allocate(size_t capacity);

    size_t mSize = 0;
    size_t mCapacity = 256;
    bool mTooLong = false;
    // From malloc, because a growing block is moved page by page rather than copied.
    std::unique_ptr<uint8_t, Free> mFrame = allocate(mCapacity);
};

// The read side, over bytes that somebody else keeps. Whatever does not fit into what is left
// counts as being past the end, and so does everything after it.
class ReadContent final : public DeserializationContent {
public:
    int32_t readBuffer(void* dest, int64_t length) override;
    int32_t readInt32() override;
    int64_t readInt64() override;
    int32_t reserved1() override;
    int32_t reserved2() override;
    const char* readCString() override;

    void reset(const uint8_t* data, size_t size) {
        mNext = data;
        mEnd = data + size;
    }

private:
    bool take(void* dest, size_t length);

    const uint8_t* mNext = nullptr;
    const uint8_t* mEnd = nullptr;
};

}  // namespace accessory::framework

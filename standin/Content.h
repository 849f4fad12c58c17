#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/Frame.h"

// Message contents as bytes: integers in the machine's own order and without padding, blocks as
// they are, strings with the zero behind them. A content is used for one message after another and
// keeps its memory.

namespace accessory::standin {

// A block that is at least this long is sent from where it is.
constexpr size_t kBorrowed = 16u << 10;

// The write side. Leaves room for a frame header before the content, so that a message that fits
// into one datagram leaves in one piece.
//
// Ownership: the first long block is not copied, since that is where the time of a large message
// goes. It has to stay until the message has been sent, as the fields of a message do.
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
        mBlock.iov_len = 0;
    }
    // The header's place; the content follows it, where it is in one piece.
    uint8_t* frame() { return mFrame.get(); }
    bool inOnePiece() const { return mBlock.iov_len == 0; }
    size_t size() const { return mSize + mBlock.iov_len; }
    // Whether something did not fit under the limit and is missing.
    bool tooLong() const { return mTooLong; }

    // The places of `length` bytes of the content from `offset` on, in order. Answers how many
    // there are.
    static constexpr size_t kMaxPieces = 3;
    size_t pieces(size_t offset, size_t length, iovec* out) const;

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    bool reserve(size_t more);
    int32_t append(const void* data, size_t length);
    static std::unique_ptr<uint8_t, Free> allocate(size_t capacity);

    size_t mSize = 0;  // without the block that stays where it is
    iovec mBlock{nullptr, 0};
    size_t mBlockPlace = 0;
    size_t mCapacity = 256;
    bool mTooLong = false;
    // From malloc, because a growing block is moved page by page rather than copied.
    std::unique_ptr<uint8_t, Free> mFrame = allocate(mCapacity);
};

// The parts of a content behind the first one, which are received while it is being read: a long
// block goes from the socket to its place at once.
class ContentRest {
public:
    // All bytes that are still to come, and those that come next.
    virtual size_t missing() const = 0;
    virtual size_t nextPart() const = 0;
    // False when the part cannot be had; there are none after it then.
    virtual bool receivePart(uint8_t* dest) = 0;
    // As receivePart(), but finds a place for the part. Null when it cannot be had.
    virtual const uint8_t* bufferPart() = 0;

protected:
    ~ContentRest() = default;
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

    // `rest`, which may be null, stays until the last read.
    void reset(const uint8_t* data, size_t size, ContentRest* rest = nullptr) {
        mNext = data;
        mEnd = data + size;
        mRest = rest;
        mEndedEarly = false;
    }
    // Whether an integer or a block was read past the end: the sender promised more than it sent. A
    // text may be missing, since its reader is told.
    bool endedEarly() const { return mEndedEarly; }

private:
    bool take(void* dest, size_t length);
    bool takeAcross(uint8_t* dest, size_t length);
    const char* textAcross();
    bool bufferNext();
    bool end();
    size_t left() const { return static_cast<size_t>(mEnd - mNext); }

    const uint8_t* mNext = nullptr;
    const uint8_t* mEnd = nullptr;
    ContentRest* mRest = nullptr;
    bool mEndedEarly = false;
    std::vector<char> mText;  // one that came in several parts
};

}  // namespace accessory::standin

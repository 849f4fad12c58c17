#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "protocol/ServiceFramework.h"
#include "standin/Frame.h"

namespace accessory::standin {

// A block of at least this size is not copied into the content.
constexpr size_t kLongBlock = 16u << 10;

// The content of a message that is being sent: integers in the machine's own order and without
// padding, blocks as they are, strings with their terminating zero. It leaves room for a frame
// header at its front, so that a message that fits into one datagram is sent with one call. It is
// used for one message after another and keeps its memory.
//
// Ownership: the first long block is sent from where it is, so that a large message is copied once
// less. It has to stay until the message has been sent, as the fields of a message do.
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
    // The place of the header. When the content is in one piece, it follows here.
    uint8_t* frame() { return mFrame.get(); }
    bool inOnePiece() const { return mBlock.iov_len == 0; }
    size_t size() const { return mSize + mBlock.iov_len; }
    // Whether the content would be longer than a message may be. Something is missing then.
    bool tooLong() const { return mTooLong; }

    // Fills `out` with the places of `length` bytes of the content from `offset` on, in order.
    // Returns how many places there are.
    static constexpr size_t kMaxPieces = 3;
    size_t pieces(size_t offset, size_t length, iovec* out) const;

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    bool reserve(size_t more);
    int32_t append(const void* data, size_t length);
    static std::unique_ptr<uint8_t, Free> allocate(size_t capacity);

    size_t mSize = 0;  // without the block that is not copied
    iovec mBlock{nullptr, 0};
    size_t mBlockPlace = 0;
    size_t mCapacity = 256;
    bool mTooLong = false;
    // From malloc, because realloc can move large memory without copying it.
    std::unique_ptr<uint8_t, Free> mFrame = allocate(mCapacity);
};

}  // namespace accessory::standin

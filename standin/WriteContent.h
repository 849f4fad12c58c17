#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "protocol/ServiceFramework.h"
#include "standin/Frame.h"

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

}  // namespace accessory::standin

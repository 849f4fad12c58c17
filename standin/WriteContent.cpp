#include "standin/WriteContent.h"

#include <cerrno>
#include <new>

namespace accessory::standin {

std::unique_ptr<uint8_t, WriteContent::Free> WriteContent::allocate(size_t capacity) {
    void* memory = std::malloc(kHeaderSize + capacity);
    if (memory == nullptr) throw std::bad_alloc();
    return std::unique_ptr<uint8_t, Free>(static_cast<uint8_t*>(memory));
}

bool WriteContent::reserve(size_t more) {
    const size_t limit = kMaxContent - mBlock.iov_len;
    if (more > limit - mSize) {
        mTooLong = true;
        return false;
    }
    const size_t capacity = std::max(mSize + more, std::min(mCapacity * 2, limit));
    void* memory = std::realloc(mFrame.get(), kHeaderSize + capacity);
    if (memory == nullptr) throw std::bad_alloc();
    static_cast<void>(mFrame.release());
    mFrame.reset(static_cast<uint8_t*>(memory));
    mCapacity = capacity;
    return true;
}

inline int32_t WriteContent::append(const void* data, size_t length) {
    if (length > mCapacity - mSize && !reserve(length)) return EMSGSIZE;
    std::memcpy(mFrame.get() + kHeaderSize + mSize, data, length);
    mSize += length;
    return 0;
}

int32_t WriteContent::writeBuffer(const void* data, int64_t length) {
    if (length < 0 || (data == nullptr && length > 0)) return EINVAL;
    const auto size = static_cast<size_t>(length);
    if (size < kLongBlock || !inOnePiece()) return size == 0 ? 0 : append(data, size);
    if (size > kMaxContent - mSize) {
        mTooLong = true;
        return EMSGSIZE;
    }
    mBlock = {const_cast<void*>(data), size};
    mBlockPlace = mSize;
    // Whatever is written behind the block has less room, because the block counts for the limit.
    mCapacity = std::min(mCapacity, kMaxContent - size);
    return 0;
}

size_t WriteContent::pieces(size_t offset, size_t length, iovec* out) const {
    uint8_t* own = mFrame.get() + kHeaderSize;
    const size_t before = inOnePiece() ? mSize : mBlockPlace;
    const iovec all[kMaxPieces] = {{own, before}, mBlock, {own + before, mSize - before}};
    size_t count = 0;
    for (const iovec& piece : all) {
        const size_t skipped = std::min(offset, piece.iov_len);
        const size_t taken = std::min(length, piece.iov_len - skipped);
        if (taken > 0) out[count++] = {static_cast<uint8_t*>(piece.iov_base) + skipped, taken};
        offset -= skipped;
        length -= taken;
    }
    return count;
}

int32_t WriteContent::writeInt32(int32_t value) {
    return append(&value, sizeof(value));
}

int32_t WriteContent::writeInt64(int64_t value) {
    return append(&value, sizeof(value));
}

int32_t WriteContent::reserved1() {
    return ENOSYS;
}

int32_t WriteContent::reserved2() {
    return ENOSYS;
}

int32_t WriteContent::writeCString(const char* text) {
    return text == nullptr ? EINVAL : append(text, std::strlen(text) + 1);
}

}  // namespace accessory::standin

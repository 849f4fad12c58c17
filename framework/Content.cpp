#include "framework/Content.h"

#include <cerrno>
#include <new>

namespace accessory::framework {

std::unique_ptr<uint8_t, WriteContent::Free> WriteContent::allocate(size_t capacity) {
    void* memory = std::malloc(kHeaderSize + capacity);
    if (memory == nullptr) throw std::bad_alloc();
    return std::unique_ptr<uint8_t, Free>(static_cast<uint8_t*>(memory));
}

bool WriteContent::reserve(size_t more) {
    if (more > kMaxContent - mSize) {
        mTooLong = true;
        return false;
    }
    const size_t capacity = std::max(mSize + more, std::min(mCapacity * 2, kMaxContent));
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
    return length == 0 ? 0 : append(data, static_cast<size_t>(length));
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

// False when that is past the end.
inline bool ReadContent::take(void* dest, size_t length) {
    if (length > static_cast<size_t>(mEnd - mNext)) {
        mNext = mEnd;
        return false;
    }
    std::memcpy(dest, mNext, length);
    mNext += length;
    return true;
}

int32_t ReadContent::readBuffer(void* dest, int64_t length) {
    if (length < 0 || (dest == nullptr && length > 0)) return EINVAL;
    return length == 0 || take(dest, static_cast<size_t>(length)) ? 0 : ENODATA;
}

int32_t ReadContent::readInt32() {
    int32_t value = 0;
    take(&value, sizeof(value));
    return value;
}

int64_t ReadContent::readInt64() {
    int64_t value = 0;
    take(&value, sizeof(value));
    return value;
}

int32_t ReadContent::reserved1() {
    return ENOSYS;
}

int32_t ReadContent::reserved2() {
    return ENOSYS;
}

const char* ReadContent::readCString() {
    const auto left = static_cast<size_t>(mEnd - mNext);
    const void* zero = left == 0 ? nullptr : std::memchr(mNext, 0, left);
    if (zero == nullptr) {
        mNext = mEnd;
        return nullptr;
    }
    const uint8_t* text = mNext;
    mNext = static_cast<const uint8_t*>(zero) + 1;
    return reinterpret_cast<const char*>(text);
}

}  // namespace accessory::framework

#include "recorder/Content.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace recorder {
namespace {

// A content that has grown beyond this size gives its memory back after the message.
constexpr size_t kKept = size_t{64} << 10;
constexpr size_t kLeast = 256;

}  // namespace

// With a std::vector, appending takes more than half of the time of a message.
int32_t Content::append(const void* data, size_t size) {
    if (size == 0) return 0;
    if (size > mCapacity - mSize && !grow(size)) return EMSGSIZE;
    std::memcpy(mBytes.get() + mSize, data, size);
    mSize += size;
    return 0;
}

bool Content::grow(size_t more) {
    mFailed = mFailed || more > accessory::kMaxContent - mSize;
    if (mFailed) return false;
    const size_t capacity = std::max(mSize + more, std::min(2 * mCapacity, accessory::kMaxContent));
    std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[std::max(capacity, kLeast)]);
    mFailed = bytes == nullptr;
    if (mFailed) return false;
    if (mSize > 0) std::memcpy(bytes.get(), mBytes.get(), mSize);
    mBytes = std::move(bytes);
    mCapacity = std::max(capacity, kLeast);
    return true;
}

int32_t Content::writeBuffer(const void* data, int64_t length) {
    if (length < 0 || (data == nullptr && length > 0)) return EINVAL;
    return append(data, static_cast<size_t>(length));
}

int32_t Content::writeInt32(int32_t value) {
    return append(&value, sizeof(value));
}

int32_t Content::writeInt64(int64_t value) {
    return append(&value, sizeof(value));
}

int32_t Content::reserved1() {
    return ENOSYS;
}

int32_t Content::reserved2() {
    return ENOSYS;
}

int32_t Content::writeCString(const char* text) {
    return text == nullptr ? EINVAL : append(text, std::strlen(text) + 1);
}

void Content::clear() {
    if (mCapacity > kKept) {
        mBytes = nullptr;
        mCapacity = 0;
    }
    mSize = 0;
    mFailed = false;
}

std::array<std::atomic<Borrowed::Holder*>, 8> Borrowed::kept = {};

Borrowed::Borrowed() {
    for (auto& place : kept) {
        if (place.load(std::memory_order_relaxed) == nullptr) continue;
        mHolder = place.exchange(nullptr, std::memory_order_acquire);
        if (mHolder != nullptr) return;
    }
    try {
        mHolder = new Holder;
    } catch (const std::bad_alloc&) {
    }
}

Borrowed::~Borrowed() {
    if (mHolder == nullptr) return;
    mHolder->content->clear();
    for (auto& place : kept) {
        Holder* none = nullptr;
        if (place.compare_exchange_strong(none, mHolder, std::memory_order_release,
                                          std::memory_order_relaxed)) {
            return;
        }
    }
    delete mHolder;
}

const Content* Borrowed::of(accessory::SerializationBase& message) {
    if (mHolder == nullptr) return nullptr;
    message.serialization(mHolder->base);
    return mHolder->content->failed() ? nullptr : mHolder->content.get();
}

}  // namespace recorder

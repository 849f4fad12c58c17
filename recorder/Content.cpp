#include "recorder/Content.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace recorder {
namespace {

// What a content keeps for the next message.
constexpr size_t kKept = size_t{64} << 10;

}  // namespace

int32_t Content::append(const void* data, size_t size) {
    mFailed = mFailed || size > accessory::kMaxContent - mBytes.size();
    if (mFailed) return EMSGSIZE;
    try {
        const auto* bytes = static_cast<const uint8_t*>(data);
        mBytes.insert(mBytes.end(), bytes, bytes + size);
    } catch (const std::bad_alloc&) {
        mFailed = true;
        return ENOMEM;
    }
    return 0;
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
    if (mBytes.capacity() > kKept) {
        std::vector<uint8_t>().swap(mBytes);
    } else {
        mBytes.clear();
    }
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

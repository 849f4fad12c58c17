#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "protocol/Frame.h"
#include "protocol/ServiceFramework.h"

namespace recorder {

// The content of a message, laid out as in docs/wire.md. It is used for one message after another.
class Content final : public accessory::SerializationContent {
public:
    int32_t writeBuffer(const void* data, int64_t length) override;
    int32_t writeInt32(int32_t value) override;
    int32_t writeInt64(int64_t value) override;
    int32_t reserved1() override;
    int32_t reserved2() override;
    int32_t writeCString(const char* text) override;

    const uint8_t* data() const { return mBytes.get(); }
    size_t size() const { return mSize; }
    // Whether a part of the message had no room.
    bool failed() const { return mFailed; }
    void clear();

private:
    int32_t append(const void* data, size_t size);
    bool grow(size_t more);

    std::unique_ptr<uint8_t[]> mBytes;
    size_t mSize = 0;
    size_t mCapacity = 0;
    bool mFailed = false;
};

// Lends a content for the time that a message takes. The last few contents are kept, so that
// recording a message allocates nothing.
class Borrowed {
public:
    Borrowed();
    ~Borrowed();
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    // The bytes of `message`. Null when the message cannot be written or is too long.
    const Content* of(accessory::SerializationBase& message);

private:
    struct Holder {
        accessory::sp<Content> content = new Content;
        accessory::sp<accessory::SerializationContent> base = content;
    };
    static std::array<std::atomic<Holder*>, 8> kept;

    Holder* mHolder = nullptr;
};

}  // namespace recorder

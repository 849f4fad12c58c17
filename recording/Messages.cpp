#include "recording/Messages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "protocol/MirvoServiceProtocol.h"
#include "protocol/ServiceFramework.h"

namespace recording {
namespace {

using namespace accessory;

class ByteWriter final : public SerializationContent {
public:
    int32_t writeBuffer(const void* data, int64_t length) override {
        const auto* first = static_cast<const uint8_t*>(data);
        if (length > 0) bytes.insert(bytes.end(), first, first + length);
        return 0;
    }
    int32_t writeInt32(int32_t value) override { return writeBuffer(&value, sizeof(value)); }
    int32_t writeInt64(int64_t value) override { return writeBuffer(&value, sizeof(value)); }
    int32_t reserved1() override { return ENOSYS; }
    int32_t reserved2() override { return ENOSYS; }
    int32_t writeCString(const char* text) override {
        return writeBuffer(text, static_cast<int64_t>(std::strlen(text)) + 1);
    }

    std::vector<uint8_t> bytes;
};

// Past the end every value is 0, as in a content of the framework.
class ByteReader final : public DeserializationContent {
public:
    explicit ByteReader(const Record& record)
        : mNext(record.content), mEnd(record.content + record.size) {}

    int32_t readBuffer(void* dest, int64_t length) override {
        if (length < 0 || length > mEnd - mNext) {
            mNext = mEnd;
            return ENODATA;
        }
        if (length > 0) std::memcpy(dest, mNext, static_cast<size_t>(length));
        mNext += length;
        return 0;
    }
    int32_t readInt32() override { return number<int32_t>(); }
    int64_t readInt64() override { return number<int64_t>(); }
    int32_t reserved1() override { return ENOSYS; }
    int32_t reserved2() override { return ENOSYS; }
    const char* readCString() override {
        const auto* zero = std::find(mNext, mEnd, uint8_t{0});
        if (zero == mEnd) {
            mNext = mEnd;
            return nullptr;
        }
        const auto* text = reinterpret_cast<const char*>(mNext);
        mNext = zero + 1;
        return text;
    }

private:
    template <typename Number>
    Number number() {
        Number value = 0;
        readBuffer(&value, sizeof(value));
        return value;
    }

    const uint8_t* mNext;
    const uint8_t* const mEnd;
};

template <typename Message, typename Factory>
sp<Message> made(const Record& record) {
    // An object that counts its references must not be a local variable.
    const sp<Factory> factory = new Factory;
    const sp<Message> message = factory->create(record.frame.type);
    if (message == nullptr) return nullptr;
    sp<DeserializationContent> content = new ByteReader(record);
    message->deserialization(content);
    return message;
}

template <typename Message>
Decoded decodeMessage(FrameKind kind, Message& message) {
    const sp<ByteWriter> writer = new ByteWriter;
    sp<SerializationContent> content = writer;
    message.serialization(content);
    return decode(kind, message.type(), writer->bytes.data(), writer->bytes.size());
}

}  // namespace

sp<ServiceItem> itemOf(const Record& record) {
    return made<ServiceItem, MirvoServiceItemFactory>(record);
}

sp<ServiceReply> replyOf(const Record& record) {
    return made<ServiceReply, MirvoServiceReplyFactory>(record);
}

sp<ServiceNotify> notifyOf(const Record& record) {
    return made<ServiceNotify, MirvoServiceNotifyFactory>(record);
}

Decoded decode(ServiceItem& item) {
    return decodeMessage(FrameKind::kRequest, item);
}

Decoded decode(ServiceReply& reply) {
    return decodeMessage(FrameKind::kReply, reply);
}

Decoded decode(ServiceNotify& notify) {
    return decodeMessage(FrameKind::kNotify, notify);
}

}  // namespace recording

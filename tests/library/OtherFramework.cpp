#include <sys/inotify.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "protocol/MVCodes.h"
#include "protocol/MVServiceMessages.h"
#include "protocol/ProcessState.h"
#include "protocol/ServiceFramework.h"

// A framework that has nothing in common with the stand-in but its soname, its symbols and the
// slots that the contract lays down: contents are rows of values that begin at every fourth byte.
// The service is in the same process and has accessory 7. What it does not know it answers with 42,
// and before that it notifies, on the thread that requests. With a folder OTHER_FRAMEWORK_DIR,
// every new listener is told of the accessory, on a thread of its own, and the service is lost when
// a file "down" appears there. With OTHER_FRAMEWORK_COPIES it asks for each item once more.

namespace accessory {
namespace {

class Writing : public SerializationContent {
public:
    int32_t writeBuffer(const void* data, int64_t length) override {
        const auto* begin = static_cast<const uint8_t*>(data);
        bytes.insert(bytes.end(), begin, begin + length);
        bytes.resize((bytes.size() + 3) / 4 * 4);
        return 0;
    }
    int32_t writeInt32(int32_t value) override { return writeBuffer(&value, sizeof(value)); }
    int32_t writeInt64(int64_t value) override { return writeBuffer(&value, sizeof(value)); }
    // Not marked as overriding, so that a declaration without them compiles, too.
    virtual int32_t reserved1() { return 1; }
    virtual int32_t reserved2() { return 1; }
    int32_t writeCString(const char* text) override {
        return writeBuffer(text, static_cast<int64_t>(strlen(text)) + 1);
    }

    std::vector<uint8_t> bytes;
};

class Reading : public DeserializationContent {
public:
    explicit Reading(const std::vector<uint8_t>& bytes) : mBytes(bytes) {}

    int32_t readBuffer(void* dest, int64_t length) override {
        const auto size = static_cast<size_t>(length);
        if (length < 0 || size > mBytes.size() - mPlace) return 1;
        memcpy(dest, mBytes.data() + mPlace, size);
        mPlace += (size + 3) / 4 * 4;
        return 0;
    }
    int32_t readInt32() override { return integer<int32_t>(); }
    int64_t readInt64() override { return integer<int64_t>(); }
    virtual int32_t reserved1() { return 1; }
    virtual int32_t reserved2() { return 1; }
    const char* readCString() override {
        const auto* text = reinterpret_cast<const char*>(mBytes.data() + mPlace);
        const size_t length = strnlen(text, mBytes.size() - mPlace);
        if (length == mBytes.size() - mPlace) return nullptr;
        mPlace += (length + 4) / 4 * 4;
        return text;
    }

private:
    template <typename T>
    T integer() {
        T value = 0;
        readBuffer(&value, sizeof(value));
        return value;
    }

    const std::vector<uint8_t> mBytes;
    size_t mPlace = 0;
};

class StatusNotify : public ServiceStatusNotify {
public:
    explicit StatusNotify(int32_t which) { status = which; }
    void serialization(sp<SerializationContent>& /*content*/) override {}
    void deserialization(sp<DeserializationContent>& /*content*/) override {}
    int32_t type() override { return kType; }
};

std::string folder() {
    const char* name = std::getenv("OTHER_FRAMEWORK_DIR");
    return name != nullptr ? name : "";
}

bool isDown() {
    return !folder().empty() && access((folder() + "/down").c_str(), F_OK) == 0;
}

constexpr int32_t kUnknown = 42;

// What the service answers; the type of the reply is the result.
int32_t answer(int32_t type, Reading& item, Writing& reply) {
    if (type == MVServiceItem::MANAGER_VERSION) {
        reply.writeCString("3.6.44");
        return MVServiceReply::VERSION;
    }
    const int32_t command = item.readInt32();
    const int32_t value = item.readInt32();
    const char kDescriptor[] = {5, 1, 9, 2, 0};
    switch (type == MVServiceItem::MANAGER_COMMON ? command : 0) {
        case MV_COMMAND_GET_IDS:
            reply.writeInt32(1);
            reply.writeInt32(7);
            return MVServiceReply::ACCESSORY_IDS;
        case MV_COMMAND_GET_HID_DESCRIPTOR:
            reply.writeInt32(0);
            reply.writeInt32(sizeof(kDescriptor));
            reply.writeBuffer(kDescriptor, sizeof(kDescriptor));
            return MVServiceReply::RAW_DATA;
        case MV_COMMAND_GET_MIRVO:
            reply.writeInt32(value == 7 ? 0 : 9);
            break;
        default:
            reply.writeInt32(kUnknown);
    }
    reply.writeInt32(-1);
    reply.writeInt64(-1);
    reply.writeCString(".");
    return MVServiceReply::COMMON;
}

class OtherClient : public ServiceClient {
public:
    explicit OtherClient(ServiceInfo& info) : mProtocol(info.protocol()) {}

    sp<ServiceReply> request(sp<ServiceItem>& item) override {
        if (isDown()) return nullptr;
        const sp<Writing> sent = new Writing;
        sp<SerializationContent> content = sent;
        item->serialization(content);
        if (std::getenv("OTHER_FRAMEWORK_COPIES") != nullptr) {
            const sp<ServiceItemFactory> factory = mProtocol->itemFactory();
            if (factory != nullptr) factory->create(item->type());
        }
        const sp<Writing> received = new Writing;
        const sp<Reading> reading = new Reading(sent->bytes);
        const int32_t code = answer(item->type(), *reading, *received);
        const sp<Reading> status = new Reading(received->bytes);
        if (status->readInt32() == kUnknown) talk();
        const sp<ServiceReply> reply = mProtocol->replyFactory()->create(code);
        if (reply != nullptr) fill(*reply, *received);
        return reply;
    }

    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mListeners.insert(listener);
        }
        if (folder().empty()) return 0;
        std::thread(&OtherClient::deliver, sp<OtherClient>(this),
                    android::wp<ServiceNotifyListener>(listener))
            .detach();
        return 0;
    }

    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mListeners.erase(listener) == 1 ? 0 : 1;
    }

private:
    template <typename Message>
    static void fill(Message& message, const Writing& written) {
        sp<DeserializationContent> content = new Reading(written.bytes);
        message.deserialization(content);
    }

    static void deliver(sp<OtherClient> self, const android::wp<ServiceNotifyListener>& listener) {
        self->tell(listener, self->event(MV_ATTACHED, 7));
        const int watch = inotify_init1(IN_CLOEXEC);
        inotify_add_watch(watch, folder().c_str(), IN_CREATE);
        char event[1024];
        while (!isDown() && read(watch, event, sizeof(event)) > 0)
            continue;
        close(watch);
        if (isDown()) self->tell(listener, new StatusNotify(ServiceStatusNotify::kServiceLost));
    }

    sp<ServiceNotify> event(int32_t type, int32_t accessoryId) {
        const sp<Writing> values = new Writing;
        values->writeInt32(type);
        values->writeInt32(accessoryId);
        const sp<ServiceNotify> notify =
            mProtocol->notifyFactory()->create(MVServiceNotify::MANAGER_COMMON);
        fill(*notify, *values);
        return notify;
    }

    void talk() {
        std::set<sp<ServiceNotifyListener>> listeners;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            listeners = mListeners;
        }
        for (const auto& listener : listeners) {
            tell(listener, event(kUnknown, kUnknown));
            tell(listener, new StatusNotify(1));
            tell(listener, nullptr);
        }
    }

    void tell(const android::wp<ServiceNotifyListener>& which, sp<ServiceNotify> notify) {
        const sp<ServiceNotifyListener> listener = which.promote();
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (listener == nullptr || mListeners.count(listener) == 0) return;
        }
        listener->onNotify(notify);
    }

    const sp<ServiceProtocol> mProtocol;
    std::mutex mMutex;
    std::set<sp<ServiceNotifyListener>> mListeners;
};

}  // namespace

ServiceDiscoverer* ServiceDiscoverer::self() {
    static ServiceDiscoverer discoverer;
    return &discoverer;
}

sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>& info) {
    const std::string name = info->servicename();
    if (isDown() || (name != "mirvo.accessory.manager" && name != "other.service")) return nullptr;
    return new OtherClient(*info);
}

}  // namespace accessory

namespace android {

sp<ProcessState> ProcessState::self() {
    return new ProcessState;
}

void ProcessState::startThreadPool() {}

}  // namespace android

#include <cstdlib>

#include "protocol/MVServiceMessages.h"
#include "protocol/ProcessState.h"
#include "protocol/ServiceFramework.h"

// A framework that has nothing in common with the stand-in but its soname, its symbols and the
// slots that the contract lays down. Every service is there, answers every request, and before that
// notifies, on the thread that requests.

namespace accessory {
namespace {

class Answer : public DeserializationContent {
public:
    int32_t readBuffer(void* /*dest*/, int64_t /*length*/) override { return 1; }
    int32_t readInt32() override { return 42; }
    int64_t readInt64() override { return 43; }
    int32_t reserved1() override { return 1; }
    int32_t reserved2() override { return 1; }
    const char* readCString() override { return "3.6.44"; }
};

class OtherStatus : public ServiceStatusNotify {
public:
    int32_t type() override { return kType; }
    // These two slots are the framework's own, and the library never calls them.
    void serialization(sp<SerializationContent>&) override { abort(); }
    void deserialization(sp<DeserializationContent>&) override { abort(); }
};

class OtherClient : public ServiceClient {
public:
    explicit OtherClient(ServiceInfo& info) : mProtocol(info.protocol()) {}

    sp<ServiceReply> request(sp<ServiceItem>& item) override {
        const bool version = item->type() == MVServiceItem::MANAGER_VERSION;
        sp<ServiceReply> reply = mProtocol->replyFactory()->create(
            version ? MVServiceReply::VERSION : MVServiceReply::COMMON);
        sp<DeserializationContent> answer = new Answer;
        reply->deserialization(answer);
        if (mListener != nullptr) notify(answer);
        return reply;
    }
    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override {
        mListener = listener;
        return 0;
    }
    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override {
        if (mListener == listener) mListener = nullptr;
        return 0;
    }

private:
    void notify(sp<DeserializationContent>& content) {
        sp<ServiceNotify> event =
            mProtocol->notifyFactory()->create(MVServiceNotify::MANAGER_COMMON);
        event->deserialization(content);
        mListener->onNotify(event);
        sp<OtherStatus> status = new OtherStatus;
        status->status = 1;
        sp<ServiceNotify> own = status;
        mListener->onNotify(own);
        sp<ServiceNotify> none;
        mListener->onNotify(none);
    }

    const sp<ServiceProtocol> mProtocol;
    sp<ServiceNotifyListener> mListener;
};

}  // namespace

ServiceDiscoverer* ServiceDiscoverer::self() {
    static ServiceDiscoverer discoverer;
    return &discoverer;
}

sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>& info) {
    return new OtherClient(*info);
}

}  // namespace accessory

namespace android {

sp<ProcessState> ProcessState::self() {
    return new ProcessState;
}

void ProcessState::startThreadPool() {}

}  // namespace android

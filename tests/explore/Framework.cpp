#include "tests/explore/Framework.h"

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/ManagerMessages.h"
#include "protocol/ProcessState.h"
#include "tests/explore/Explorer.h"

namespace explorer {

using namespace accessory;
using android::sp;

namespace {

class StatusNotify final : public ServiceStatusNotify {
public:
    void serialization(sp<SerializationContent>&) override {}
    void deserialization(sp<DeserializationContent>&) override {}
    int32_t type() override { return kType; }
};

int32_t commandOf(ServiceItem& item) {
    if (item.type() == MVServiceItem::MANAGER_COMMON) {
        return static_cast<MVSItemManagerCommon&>(item).command;
    }
    if (item.type() == MVServiceItem::ACCESSORY_COMMON) {
        return static_cast<MVSItemAccessoryCommon&>(item).command;
    }
    return 0;
}

class Client final : public ServiceClient {
public:
    explicit Client(size_t number) : mNumber(number), mService(Framework::self().losses) {
        ++Framework::self().liveClients;
    }
    ~Client() override {
        Framework::self().mListeners[mNumber].clear();
        --Framework::self().liveClients;
    }

    sp<ServiceReply> request(sp<ServiceItem>& item) override {
        Framework& framework = Framework::self();
        const int32_t type = item->type();
        const int32_t command = commandOf(*item);
        ++framework.requests;
        point("has sent a request");
        if (framework.onRequest) framework.onRequest(type, command);
        if (framework.losses != mService) return nullptr;
        if (type == MVServiceItem::MANAGER_VERSION) {
            const sp<MVSReplyVersion> version = new MVSReplyVersion;
            version->version.setTo("3.6.1");
            return version;
        }
        if (type == MVServiceItem::MANAGER_COMMON && command == MV_COMMAND_GET_IDS) {
            const sp<MVSReplyAccessoryIds> reply = new MVSReplyAccessoryIds;
            for (const uint32_t id : framework.ids)
                reply->ids[reply->count++] = id;
            return reply;
        }
        const sp<MVSReplyCommon> done = new MVSReplyCommon;
        done->result = 0;
        return done;
    }

    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override {
        Framework::self().mListeners[mNumber] = listener;
        return 0;
    }

    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override {
        auto& present = Framework::self().mListeners[mNumber];
        if (present == listener) present.clear();
        return 0;
    }

private:
    const size_t mNumber;
    const int mService;
};

}  // namespace

Framework& Framework::self() {
    static Framework framework;
    return framework;
}

void Framework::deliver(size_t client, const sp<ServiceNotify>& notify) {
    const sp<ServiceNotifyListener> listener =
        client < mListeners.size() ? mListeners[client] : nullptr;
    sp<ServiceNotify> message = notify;
    if (listener != nullptr) listener->onNotify(message);
}

void Framework::attach(size_t client, uint32_t accessoryId) {
    const sp<MVSNotifyManagerCommon> event = new MVSNotifyManagerCommon;
    event->notifyType = MV_ATTACHED;
    event->accessoryId = static_cast<int32_t>(accessoryId);
    deliver(client, event);
}

void Framework::state(size_t client, uint32_t accessoryId, int32_t state) {
    const sp<MVSNotifyAccessoryCommon> event = new MVSNotifyAccessoryCommon;
    event->mAccessoryId = static_cast<int32_t>(accessoryId);
    event->notifyType = MV_RUNNING_STATE_CHANGE;
    event->intValue = state;
    deliver(client, event);
}

void Framework::deviceError(size_t client, uint32_t accessoryId, int32_t code) {
    const sp<MVSNotifyAccessoryCommon> event = new MVSNotifyAccessoryCommon;
    event->mAccessoryId = static_cast<int32_t>(accessoryId);
    event->notifyType = MV_ERROR_EVENT;
    event->intValue = code;
    deliver(client, event);
}

void Framework::lost(size_t client) {
    available = false;
    ++losses;
    const sp<StatusNotify> status = new StatusNotify;
    status->status = ServiceStatusNotify::kServiceLost;
    deliver(client, status);
}

}  // namespace explorer

namespace accessory {

ServiceDiscoverer* ServiceDiscoverer::self() {
    static ServiceDiscoverer discoverer;
    return &discoverer;
}

sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>&) {
    explorer::Framework& framework = explorer::Framework::self();
    if (!framework.available) return nullptr;
    framework.mListeners.emplace_back();
    return new explorer::Client(framework.clients() - 1);
}

}  // namespace accessory

namespace android {

sp<ProcessState> ProcessState::self() {
    return new ProcessState;
}

void ProcessState::startThreadPool() {}

}  // namespace android

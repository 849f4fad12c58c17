#include "tests/support/FakeFramework.h"

#include <utils/Mutex.h>

#include <algorithm>
#include <utility>

#include "protocol/ProcessState.h"

namespace testing_support {

using accessory::ServiceClient;
using accessory::ServiceInfo;
using accessory::ServiceItem;
using accessory::ServiceNotify;
using accessory::ServiceNotifyListener;
using accessory::ServiceReply;
using accessory::ServiceStatusNotify;
using android::AutoMutex;
using android::sp;

struct FakeFramework::State {
    struct Client {
        sp<ServiceInfo> info;
        sp<ServiceNotifyListener> listener;
    };

    void record(const std::string& event) {
        AutoMutex lock(mLock);
        mEvents.push_back(event);
    }

    android::Mutex mLock;
    std::vector<std::string> mEvents GUARDED_BY(mLock);
    std::vector<Client> mClients GUARDED_BY(mLock);
    std::function<bool()> mAccept GUARDED_BY(mLock);
    std::function<std::string(const std::string&)> mHandler GUARDED_BY(mLock);
};

namespace {

android::Mutex gLock;
std::shared_ptr<FakeFramework::State> gState GUARDED_BY(gLock);

std::shared_ptr<FakeFramework::State> currentState() {
    AutoMutex lock(gLock);
    return gState;
}

class StatusNotify final : public ServiceStatusNotify {
public:
    void serialization(sp<SerializationContent>& content) override { content->writeInt32(status); }
    void deserialization(sp<DeserializationContent>& content) override {
        status = content->readInt32();
    }
    int32_t type() override { return kType; }
};

// A message of the class that `factory` has for the code; null where it has none.
template <typename Factory>
auto received(const sp<Factory>& factory, const std::string& text) {
    const auto [code, content] = splitMessage(text);
    auto message = factory->create(code);
    if (message != nullptr) readContent(*message, content);
    return message;
}

class FakeClient final : public ServiceClient {
public:
    FakeClient(std::shared_ptr<FakeFramework::State> state, size_t index, sp<ServiceInfo> info)
        : mState(std::move(state)), mIndex(index), mInfo(std::move(info)) {}

    ~FakeClient() override {
        FakeFramework::State::Client gone;
        record("release");
        AutoMutex lock(mState->mLock);
        std::swap(gone, mState->mClients[mIndex]);
    }

    sp<ServiceReply> request(sp<ServiceItem>& item) override {
        const std::string text = std::to_string(item->type()) + ": " + contentOf(*item);
        record("request " + text);
        std::function<std::string(const std::string&)> handler;
        {
            AutoMutex lock(mState->mLock);
            handler = mState->mHandler;
        }
        const std::string reply = handler ? handler(text) : "";
        if (reply.empty()) return nullptr;
        return received(mInfo->protocol()->replyFactory(), reply);
    }

    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override {
        record("listen");
        sp<ServiceNotifyListener> previous = listener;
        AutoMutex lock(mState->mLock);
        std::swap(mState->mClients[mIndex].listener, previous);
        return 0;
    }

    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override {
        sp<ServiceNotifyListener> removed;
        bool known = false;
        {
            AutoMutex lock(mState->mLock);
            auto& current = mState->mClients[mIndex].listener;
            known = current != nullptr && current == listener;
            if (known) std::swap(removed, current);
        }
        record(known ? "unlisten" : "unlisten another");
        return known ? 0 : -1;
    }

private:
    void record(const std::string& event) { mState->record(std::to_string(mIndex) + " " + event); }

    const std::shared_ptr<FakeFramework::State> mState;
    const size_t mIndex;
    const sp<ServiceInfo> mInfo;
};

}  // namespace

FakeFramework::FakeFramework() : mState(std::make_shared<State>()) {
    AutoMutex lock(gLock);
    gState = mState;
}

FakeFramework::~FakeFramework() {
    onRequest(nullptr);
    AutoMutex lock(gLock);
    gState = nullptr;
}

void FakeFramework::onBind(std::function<bool()> accept) {
    AutoMutex lock(mState->mLock);
    std::swap(mState->mAccept, accept);
}

void FakeFramework::onRequest(std::function<std::string(const std::string&)> handler) {
    AutoMutex lock(mState->mLock);
    std::swap(mState->mHandler, handler);
}

void FakeFramework::answer(const std::string& reply) {
    onRequest([reply](const std::string&) { return reply; });
}

std::vector<std::string> FakeFramework::takeEvents() {
    AutoMutex lock(mState->mLock);
    return std::exchange(mState->mEvents, {});
}

void FakeFramework::record(const std::string& event) {
    mState->record(event);
}

std::vector<std::string> FakeFramework::requests() {
    const std::string kRequest = " request ";
    std::vector<std::string> result;
    AutoMutex lock(mState->mLock);
    for (const std::string& event : mState->mEvents) {
        const size_t position = event.find(kRequest);
        if (position == std::string::npos) continue;
        result.push_back(event.substr(position + kRequest.size()));
    }
    return result;
}

size_t FakeFramework::allClients() {
    AutoMutex lock(mState->mLock);
    return mState->mClients.size();
}

size_t FakeFramework::liveClients() {
    AutoMutex lock(mState->mLock);
    const auto isLive = [](const State::Client& client) { return client.info != nullptr; };
    return static_cast<size_t>(
        std::count_if(mState->mClients.begin(), mState->mClients.end(), isLive));
}

sp<ServiceNotify> FakeFramework::notification(size_t client, const std::string& message) {
    if (splitMessage(message).first == ServiceStatusNotify::kType) {
        const sp<StatusNotify> status = new StatusNotify;
        readContent(*status, splitMessage(message).second);
        return status;
    }
    sp<ServiceInfo> info;
    {
        AutoMutex lock(mState->mLock);
        info = mState->mClients[client].info;
    }
    return info == nullptr ? nullptr : received(info->protocol()->notifyFactory(), message);
}

sp<ServiceNotifyListener> FakeFramework::listener(size_t client) {
    AutoMutex lock(mState->mLock);
    return client < mState->mClients.size() ? mState->mClients[client].listener : nullptr;
}

bool FakeFramework::notify(size_t client, const std::string& message) {
    const sp<ServiceNotifyListener> receiver = listener(client);
    sp<ServiceNotify> notify = receiver == nullptr ? nullptr : notification(client, message);
    if (notify != nullptr) receiver->onNotify(notify);
    return notify != nullptr;
}

}  // namespace testing_support

namespace accessory {

using testing_support::FakeFramework;

ServiceDiscoverer* ServiceDiscoverer::self() {
    static ServiceDiscoverer discoverer;
    return &discoverer;
}

sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>& info) {
    const std::shared_ptr<FakeFramework::State> state = testing_support::currentState();
    if (state == nullptr) return nullptr;
    size_t index = 0;
    std::function<bool()> accept;
    {
        android::AutoMutex lock(state->mLock);
        index = state->mClients.size();
        state->mClients.emplace_back();
        accept = state->mAccept;
        state->mEvents.push_back(std::to_string(index) + " bind " + info->servicename());
    }
    const bool accepted = !accept || accept();
    android::AutoMutex lock(state->mLock);
    if (!accepted) {
        state->mEvents.push_back(std::to_string(index) + " refused");
        return nullptr;
    }
    state->mClients[index] = {info, nullptr};
    return new testing_support::FakeClient(state, index, info);
}

}  // namespace accessory

namespace android {

sp<ProcessState> ProcessState::self() {
    return new ProcessState;
}

void ProcessState::startThreadPool() {
    const auto state = testing_support::currentState();
    if (state != nullptr) state->record("startThreadPool");
}

}  // namespace android

#include "tests/support/FakeFramework.h"

#include <utils/Mutex.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "protocol/ProcessState.h"
#include "tests/support/LogCapture.h"

namespace testing_support {

using accessory::ServiceClient;
using accessory::ServiceInfo;
using accessory::ServiceItem;
using accessory::ServiceNotify;
using accessory::ServiceNotifyListener;
using accessory::ServiceProtocol;
using accessory::ServiceReply;
using accessory::ServiceStatusNotify;
using android::AutoMutex;
using android::sp;
using android::wp;

using Listener = sp<ServiceNotifyListener>;

struct FakeFramework::State {
    struct Client {
        sp<ServiceProtocol> protocol;
        Listener listener;
        bool live = false;
    };

    explicit State(Habit habit) : mHabit(habit) {}

    void record(const std::string& event);

    // Gives up a client's former listener.
    void drop(const Listener& listener);
    void deliver(Listener listener, sp<ServiceNotify> notify);
    // Delivers what tells nothing to all listeners.
    void disturb(const std::vector<Listener>& listeners);
    std::vector<Listener> listeners();

    const Habit mHabit;
    android::Mutex mLock;
    std::vector<std::string> mEvents GUARDED_BY(mLock);
    std::vector<Client> mClients GUARDED_BY(mLock);
    std::vector<Listener> mKept GUARDED_BY(mLock);
    std::function<bool()> mAccept GUARDED_BY(mLock);
    std::function<std::string(const std::string&)> mHandler GUARDED_BY(mLock);
};

namespace {

// Those whose delivery is under way on this thread, the innermost last. Another thread cannot tell
// whether one that has gone was still in use.
thread_local std::vector<wp<ServiceNotifyListener>> tDelivering;

android::Mutex gLock;
std::shared_ptr<FakeFramework::State> gState GUARDED_BY(gLock);

std::shared_ptr<FakeFramework::State> currentState() {
    AutoMutex lock(gLock);
    return gState;
}

void require(bool condition, const char* what) {
    if (condition) return;
    fprintf(stderr, "%s\n", what);
    abort();
}

class StatusNotify final : public ServiceStatusNotify {
public:
    void serialization(sp<SerializationContent>& content) override { content->writeInt32(status); }
    void deserialization(sp<DeserializationContent>& content) override {
        status = content->readInt32();
    }
    int32_t type() override { return kType; }
};

class UnknownNotify final : public ServiceNotify {
public:
    void serialization(sp<SerializationContent>&) override {}
    void deserialization(sp<DeserializationContent>&) override {}
    int32_t type() override { return 999; }
};

// Makes a message of the class that `factory` has for the code. Null when it has none.
template <typename Factory>
auto received(const sp<Factory>& factory, const std::string& text) {
    const auto [code, content] = splitMessage(text);
    auto message = factory->create(code);
    if (message != nullptr) readContent(*message, content);
    return message;
}

class FakeClient final : public ServiceClient {
public:
    FakeClient(std::shared_ptr<FakeFramework::State> state, size_t index,
               const sp<ServiceInfo>& info)
        : mState(std::move(state)), mIndex(index), mDescription(info) {
        if (mState->mHabit != Habit::kHoldsNothing) mHeld = info;
    }

    ~FakeClient() override {
        FakeFramework::State::Client gone;
        record("release");
        {
            AutoMutex lock(mState->mLock);
            std::swap(gone, mState->mClients[mIndex]);
        }
        mState->drop(gone.listener);
    }

    sp<ServiceReply> request(sp<ServiceItem>& item) override {
        if (mState->mHabit == Habit::kDeliversInRequests) mState->disturb(mState->listeners());
        const std::string text = std::to_string(item->type()) + ": " + contentOf(*item);
        record("request " + text);
        std::function<std::string(const std::string&)> handler;
        {
            AutoMutex lock(mState->mLock);
            handler = mState->mHandler;
        }
        const std::string reply = handler ? handler(text) : "";
        if (reply.empty()) return nullptr;
        return received(protocol()->replyFactory(), reply);
    }

    int32_t setNotifyListener(Listener& listener) override {
        record("listen");
        protocol();
        Listener previous = listener;
        {
            AutoMutex lock(mState->mLock);
            std::swap(mState->mClients[mIndex].listener, previous);
        }
        mState->drop(previous);
        return 0;
    }

    int32_t removeNotifyListener(Listener& listener) override {
        Listener removed;
        bool known = false;
        {
            AutoMutex lock(mState->mLock);
            auto& current = mState->mClients[mIndex].listener;
            known = current != nullptr && current == listener;
            if (known) std::swap(removed, current);
        }
        record(known ? "unlisten" : "unlisten another");
        mState->drop(removed);
        return known ? 0 : -1;
    }

private:
    void record(const std::string& event) { mState->record(std::to_string(mIndex) + " " + event); }

    // Taken when it is used first.
    sp<ServiceProtocol> protocol() {
        AutoMutex lock(mState->mLock);
        sp<ServiceProtocol>& known = mState->mClients[mIndex].protocol;
        if (known != nullptr) return known;
        const sp<ServiceInfo> info = mDescription.promote();
        require(info != nullptr, "a service description has gone before it was used");
        return known = info->protocol();
    }

    const std::shared_ptr<FakeFramework::State> mState;
    const size_t mIndex;
    const wp<ServiceInfo> mDescription;
    sp<ServiceInfo> mHeld;
};

}  // namespace

void FakeFramework::State::record(const std::string& event) {
    AutoMutex lock(mLock);
    mEvents.push_back(event);
    for (const auto& listener : tDelivering)
        require(listener.promote() != nullptr, "a listener has gone during its delivery");
}

void FakeFramework::State::drop(const Listener& listener) {
    if (listener == nullptr || mHabit != Habit::kKeepsListeners) return;
    AutoMutex lock(mLock);
    mKept.push_back(listener);
}

void FakeFramework::State::deliver(Listener listener, sp<ServiceNotify> notify) {
    if (mHabit == Habit::kDeliversNull) disturb({listener});
    std::vector<Listener> kept;
    {
        AutoMutex lock(mLock);
        kept = mKept;
    }
    disturb(kept);
    ServiceNotifyListener* const receiver = listener.get();
    tDelivering.emplace_back(listener);
    if (mHabit == Habit::kHoldsNothing) listener.clear();
    receiver->onNotify(notify);
    tDelivering.pop_back();
}

void FakeFramework::State::disturb(const std::vector<Listener>& listeners) {
    const Muted muted;
    for (const Listener& listener : listeners) {
        for (sp<ServiceNotify> notify : {sp<ServiceNotify>(), sp<ServiceNotify>(new UnknownNotify)})
            listener->onNotify(notify);
    }
}

std::vector<Listener> FakeFramework::State::listeners() {
    std::vector<Listener> result;
    AutoMutex lock(mLock);
    for (const Client& client : mClients) {
        if (client.listener != nullptr) result.push_back(client.listener);
    }
    return result;
}

FakeFramework::FakeFramework(Habit habit) : mState(std::make_shared<State>(habit)) {
    AutoMutex lock(gLock);
    mPrevious = std::exchange(gState, mState);
}

Habit FakeFramework::habitOfEnvironment() {
    const std::pair<const char*, Habit> kHabits[] = {
        {"none", Habit::kNone},
        {"holds-nothing", Habit::kHoldsNothing},
        {"delivers-in-requests", Habit::kDeliversInRequests},
        {"delivers-null", Habit::kDeliversNull},
        {"keeps-listeners", Habit::kKeepsListeners},
    };
    const char* const name = getenv("FAKE_FRAMEWORK_HABIT");
    if (name == nullptr) return Habit::kNone;
    for (const auto& [known, habit] : kHabits) {
        if (strcmp(name, known) == 0) return habit;
    }
    require(false, "FAKE_FRAMEWORK_HABIT names no habit");
    return Habit::kNone;
}

FakeFramework::~FakeFramework() {
    onRequest(nullptr);
    AutoMutex lock(gLock);
    gState = mPrevious;
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
    const auto isLive = [](const State::Client& client) { return client.live; };
    return static_cast<size_t>(
        std::count_if(mState->mClients.begin(), mState->mClients.end(), isLive));
}

sp<ServiceNotify> FakeFramework::notification(size_t client, const std::string& message) {
    if (message == "null") return nullptr;
    if (splitMessage(message).first == ServiceStatusNotify::kType) {
        const sp<StatusNotify> status = new StatusNotify;
        readContent(*status, splitMessage(message).second);
        return status;
    }
    sp<ServiceProtocol> protocol;
    {
        AutoMutex lock(mState->mLock);
        protocol = mState->mClients[client].protocol;
    }
    return protocol == nullptr ? nullptr : received(protocol->notifyFactory(), message);
}

Listener FakeFramework::listener(size_t client) {
    AutoMutex lock(mState->mLock);
    return client < mState->mClients.size() ? mState->mClients[client].listener : nullptr;
}

bool FakeFramework::notify(size_t client, const std::string& message) {
    Listener receiver = listener(client);
    if (receiver == nullptr) return false;
    const sp<ServiceNotify> notify = notification(client, message);
    if (notify == nullptr && message != "null") return false;
    mState->deliver(std::move(receiver), notify);
    return true;
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
    state->mClients[index].live = true;
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

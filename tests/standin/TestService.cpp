#include "tests/standin/TestService.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <utility>

#include "protocol/ProcessState.h"

namespace accessory {

using android::AutoMutex;
using testing_support::eventually;

namespace {

constexpr const char* kReady = "ready";

template <typename Base, typename Factory>
class TestFactory final : public Factory {
public:
    sp<Base> create(int type) override {
        if (type != kTestType) return nullptr;
        return new TestMessage<Base>;
    }
};

class TestProtocol final : public ServiceProtocol {
public:
    sp<ServiceNotifyFactory> notifyFactory() override {
        return new TestFactory<ServiceNotify, ServiceNotifyFactory>;
    }
    sp<ServiceItemFactory> itemFactory() override {
        return new TestFactory<ServiceItem, ServiceItemFactory>;
    }
    sp<ServiceReplyFactory> replyFactory() override {
        return new TestFactory<ServiceReply, ServiceReplyFactory>;
    }
};

// What goes with a number. No part of it is like one that is a whole number of datagrams away.
std::vector<uint8_t> bytesOf(int32_t number, size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>((static_cast<size_t>(number) + i) % 251);
    return bytes;
}

// The service of these tests.
class TestService {
public:
    explicit TestService(const std::string& directory)
        : mHost(new TestInfo,
                [this](ServiceHost::Request& request) {
                    return handle(static_cast<TestItem&>(*request.item));
                },
                {directory, 32u << 20, {}}) {}

    bool start() { return mHost.start(); }

private:
    using Act = void (*)(TestService& self, const TestItem& item, TestReply& reply);
    static const std::map<int32_t, Act> kActs;

    sp<ServiceReply> handle(const TestItem& item);
    void notify(int32_t number, const std::vector<uint8_t>& bytes = {}, int32_t type = kTestType);

    std::atomic<int32_t> mEchoes{0};
    std::atomic<int> mMeeting{0};
    // The first to go, since its threads use the others.
    ServiceHost mHost;
};

void TestService::notify(int32_t number, const std::vector<uint8_t>& bytes, int32_t type) {
    const sp<TestNotify> message = new TestNotify(type);
    message->number = number;
    message->bytes = bytes;
    mHost.notify(message);
}

const std::map<int32_t, TestService::Act> TestService::kActs = {
    {kUnknownReply, [](auto&, auto&, auto&) {}},
    {kMeet,
     [](auto& self, auto&, auto& reply) {
         ++self.mMeeting;
         if (!eventually([&] { return self.mMeeting == kMeeting; })) reply.number = kNone;
     }},
    {kHugeReply, [](auto&, auto&, auto& reply) { reply.bytes.resize(17u << 20); }},
    {kNotifyMany,
     [](auto& self, auto& item, auto&) {
         for (size_t i = 0; i < item.bytes.size(); ++i)
             self.notify(static_cast<int32_t>(i));
     }},
    {kNotifyLarge, [](auto& self, auto& item, auto&) { self.notify(item.number, item.bytes); }},
    {kNotifyUnknown, [](auto& self, auto&, auto&) { self.notify(0, {}, kUnknownType); }},
    {kCountRequests, [](auto& self, auto&, auto& reply) { reply.number = self.mEchoes; }},
    {kLimitDescriptors, [](auto&, auto& item, auto&) { limitDescriptors(item.bytes.size()); }},
};

sp<ServiceReply> TestService::handle(const TestItem& item) {
    if (item.number == kSilence) return nullptr;
    const sp<TestReply> reply =
        new TestReply(item.number == kUnknownReply ? kUnknownType : kTestType);
    reply->number = item.number;
    const auto act = kActs.find(item.number);
    if (act != kActs.end()) {
        act->second(*this, item, *reply);
    } else {
        ++mEchoes;
        reply->bytes = item.bytes;
    }
    return reply;
}

// Tells the process that started this one, and stays as long as that one wants it to.
void stayReady() {
    puts(kReady);
    fflush(stdout);
    while (getchar() != EOF) {
    }
}

}  // namespace

sp<ServiceProtocol> TestInfo::protocol() {
    return new TestProtocol;
}

sp<ServiceReply> echo(ServiceHost::Request& request) {
    const auto& item = static_cast<TestItem&>(*request.item);
    const sp<TestReply> reply = new TestReply;
    reply->number = item.number;
    reply->bytes = item.bytes;
    return reply;
}

int serve(const std::string& directory) {
    TestService service(directory);
    if (!service.start()) return 1;
    stayReady();
    return 0;
}

int leave(const std::string&) {
    android::ProcessState::self()->startThreadPool();
    // Neither client nor listener goes before the process does, and deliveries go on meanwhile.
    static sp<ServiceClient> client = bind();
    static sp<Recorder> recorder = new Recorder;
    listen(client, recorder);
    if (ask(client, kNotifyMany, 100'000) == kNone) return 1;
    recorder->await(1);
    stayReady();
    return 7;
}

int print(const std::string&) {
    android::ProcessState::self()->startThreadPool();
    const sp<ServiceClient> client = bind();
    class Printer final : public ServiceNotifyListener {
        void onNotify(sp<ServiceNotify>& notify) override {
            const bool status = notify->type() == ServiceStatusNotify::kType;
            printf("%d\n", status ? Recorder::kLost : static_cast<TestNotify&>(*notify).number);
            fflush(stdout);
        }
    };
    if (client == nullptr || listen(client, new Printer) != 0) return 1;
    stayReady();
    return 0;
}

Role::Role(const char* role, const testing_support::Folder& directory)
    : Process({std::filesystem::read_symlink("/proc/self/exe"), role, directory.path()}) {
    waitForLine(kReady);
}

int Role::finish() {
    closeInput();
    return wait();
}

void Recorder::onNotify(sp<ServiceNotify>& notify) {
    int32_t number = kDamaged;
    if (notify->type() == ServiceStatusNotify::kType) {
        const auto& status = static_cast<ServiceStatusNotify&>(*notify);
        if (status.status == ServiceStatusNotify::kServiceLost) number = kLost;
    } else {
        const auto& message = static_cast<TestNotify&>(*notify);
        const bool intact = message.bytes == bytesOf(message.number, message.bytes.size());
        if (intact) number = message.number;
    }
    {
        AutoMutex lock(mMutex);
        mNumbers.push_back(number);
    }
    if (mDuring) mDuring();
    AutoMutex lock(mMutex);
    ++mFinished;
}

std::vector<int32_t> Recorder::await(size_t count) {
    static_cast<void>(eventually([&] {
        AutoMutex lock(mMutex);
        return mNumbers.size() >= count;
    }));
    AutoMutex lock(mMutex);
    return mNumbers;
}

bool Recorder::released() {
    AutoMutex lock(mMutex);
    return mFinished == mNumbers.size() && getStrongCount() == 1;
}

sp<ServiceClient> bind() {
    sp<ServiceInfo> info = new TestInfo;
    return ServiceDiscoverer::self()->bindTo(info);
}

int32_t ask(const sp<ServiceClient>& client, int32_t number, size_t size, int32_t type) {
    const sp<TestItem> item = new TestItem(type);
    item->number = number;
    item->bytes = bytesOf(number, size);
    sp<ServiceItem> request = item;
    const sp<ServiceReply> reply = client->request(request);
    if (reply == nullptr) return kNone;
    const auto& answer = static_cast<TestReply&>(*reply);
    const bool intact = answer.number < kEcho || answer.bytes == item->bytes;
    return intact ? answer.number : Recorder::kDamaged;
}

int32_t listen(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener) {
    sp<ServiceNotifyListener> pointer = listener;
    return client->setNotifyListener(pointer);
}

int32_t unlisten(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener) {
    sp<ServiceNotifyListener> pointer = listener;
    return client->removeNotifyListener(pointer);
}

int64_t milliseconds() {
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

rlim_t limitDescriptors(rlim_t limit) {
    rlimit limits{};
    getrlimit(RLIMIT_NOFILE, &limits);
    const rlim_t before = std::exchange(limits.rlim_cur, limit);
    setrlimit(RLIMIT_NOFILE, &limits);
    return before;
}

void setTimeout(const char* text) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", text, 1);
}

}  // namespace accessory

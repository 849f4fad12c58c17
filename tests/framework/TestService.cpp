#include "tests/framework/TestService.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace accessory {

using android::AutoMutex;

namespace {

constexpr nsecs_t kPatience = 60'000'000'000;

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
    sp<ServiceNotifyFactory> notifyFactory() override { return mNotify; }
    sp<ServiceItemFactory> itemFactory() override { return mItem; }
    sp<ServiceReplyFactory> replyFactory() override { return mReply; }

private:
    sp<ServiceNotifyFactory> mNotify{new TestFactory<ServiceNotify, ServiceNotifyFactory>};
    sp<ServiceItemFactory> mItem{new TestFactory<ServiceItem, ServiceItemFactory>};
    sp<ServiceReplyFactory> mReply{new TestFactory<ServiceReply, ServiceReplyFactory>};
};

void notify(ServiceHost& host, int32_t number, std::vector<uint8_t> bytes = {},
            int32_t type = kTestType) {
    const sp<TestNotify> message = new TestNotify(type);
    message->number = number;
    message->bytes = std::move(bytes);
    host.notify(message);
}

sp<ServiceReply> handle(ServiceHost& host, const TestItem& item) {
    const sp<TestReply> reply =
        new TestReply(item.number == kUnknownReply ? kUnknownType : kTestType);
    reply->number = item.number;
    switch (item.number) {
        case kSilence:
            return nullptr;
        case kHugeReply:
            reply->bytes.resize(17u << 20);
            return reply;
        case kNotifyOnce:
            notify(host, 1);
            return reply;
        case kNotifyMany:
            for (size_t i = 0; i < item.bytes.size(); ++i) {
                notify(host, static_cast<int32_t>(i));
            }
            return reply;
        case kNotifyLarge:
            notify(host, 0, item.bytes);
            return reply;
        case kNotifyUnknown:
            notify(host, 0, {}, kUnknownType);
            notify(host, 1);
            return reply;
        default:
            reply->bytes = item.bytes;
            return reply;
    }
}

}  // namespace

template <typename Base>
void TestMessage<Base>::serialization(sp<SerializationContent>& content) {
    content->writeInt32(number);
    content->writeInt32(static_cast<int32_t>(bytes.size()));
    content->writeBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
}

template <typename Base>
void TestMessage<Base>::deserialization(sp<DeserializationContent>& content) {
    number = content->readInt32();
    bytes.resize(static_cast<size_t>(content->readInt32()));
    content->readBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
}

template class TestMessage<ServiceItem>;
template class TestMessage<ServiceReply>;
template class TestMessage<ServiceNotify>;

sp<ServiceProtocol> TestInfo::protocol() {
    return new TestProtocol;
}

int serve(const std::string& directory) {
    ServiceHost* self = nullptr;
    ServiceHost::Options options;
    options.directory = directory;
    ServiceHost host(
        new TestInfo,
        [&](sp<ServiceItem>& item) { return handle(*self, static_cast<TestItem&>(*item)); },
        options);
    self = &host;
    if (!host.start()) return 1;
    // Says that it serves, by a byte that the starter waits for.
    if (write(STDOUT_FILENO, "!", 1) != 1) return 1;
    char byte;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
}

TestDirectory::TestDirectory() {
    char name[] = "/tmp/framework-test-XXXXXX";
    mPath = mkdtemp(name);
    setenv("SERVICE_FRAMEWORK_DIR", mPath.c_str(), 1);
}

TestDirectory::~TestDirectory() {
    std::filesystem::remove_all(mPath);
}

ServiceProcess::ServiceProcess(const TestDirectory& directory) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    // A foreign processor's programs are started through an emulator.
    std::vector<std::string> words{TEST_LAUNCHER};
    if (words[0].empty()) words.clear();
    words.insert(words.end(),
                 {std::filesystem::read_symlink("/proc/self/exe"), "--serve", directory.path()});
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    if (posix_spawnp(&mPid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        std::abort();
    }
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    mInput = input[1];
    char byte;
    if (read(output[0], &byte, 1) != 1) std::abort();
    close(output[0]);
}

ServiceProcess::~ServiceProcess() {
    close(mInput);
    if (mPid > 0) kill();
}

void ServiceProcess::signal(int number) {
    ::kill(mPid, number);
}

void ServiceProcess::kill() {
    signal(SIGKILL);
    waitpid(mPid, nullptr, 0);
    mPid = -1;
}

void Recorder::onNotify(sp<ServiceNotify>& notify) {
    int32_t number = kLost;
    size_t size = 0;
    if (notify->type() == ServiceStatusNotify::kType) {
        const auto& status = static_cast<ServiceStatusNotify&>(*notify);
        if (status.status != ServiceStatusNotify::kServiceLost) number = -3;
    } else {
        const auto& message = static_cast<TestNotify&>(*notify);
        number = message.number;
        size = message.bytes.size();
    }
    {
        AutoMutex lock(mMutex);
        mNumbers.push_back(number);
        mLargest = std::max(mLargest, size);
        mChanged.broadcast();
    }
    if (mDuring) mDuring(number);
}

std::vector<int32_t> Recorder::await(size_t count) {
    AutoMutex lock(mMutex);
    while (mNumbers.size() < count && mChanged.waitRelative(mMutex, kPatience) == 0) {
    }
    return mNumbers;
}

size_t Recorder::largest() {
    AutoMutex lock(mMutex);
    return mLargest;
}

sp<ServiceClient> bind() {
    sp<ServiceInfo> info = new TestInfo;
    return ServiceDiscoverer::self()->bindTo(info);
}

int32_t ask(const sp<ServiceClient>& client, int32_t number, size_t size, int32_t type) {
    const sp<TestItem> item = new TestItem(type);
    item->number = number;
    item->bytes.assign(size, static_cast<uint8_t>(number));
    sp<ServiceItem> request = item;
    const sp<ServiceReply> reply = client->request(request);
    if (reply == nullptr) return -1;
    const auto& answer = static_cast<TestReply&>(*reply);
    const bool intact = answer.number < kEcho || answer.bytes == item->bytes;
    return intact ? answer.number : -2;
}

int32_t listen(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener) {
    sp<ServiceNotifyListener> pointer = listener;
    return client->setNotifyListener(pointer);
}

int32_t unlisten(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener) {
    sp<ServiceNotifyListener> pointer = listener;
    return client->removeNotifyListener(pointer);
}

bool eventually(const std::function<bool()>& condition) {
    const int64_t end = milliseconds() + kPatience / 1'000'000;
    while (!condition()) {
        if (milliseconds() > end) return false;
        const timespec moment{0, 1'000'000};
        nanosleep(&moment, nullptr);
    }
    return true;
}

int64_t milliseconds() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace accessory

#include "tests/framework/TestService.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <utility>

#include "protocol/ProcessState.h"

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

// The service of these tests.
class TestService {
public:
    explicit TestService(const std::string& directory)
        : mHost(new TestInfo,
                [this](sp<ServiceItem>& item) { return handle(static_cast<TestItem&>(*item)); },
                {directory, 32u << 20, {}}) {}

    bool start() { return mHost.start(); }

private:
    sp<ServiceReply> handle(const TestItem& item);
    void notify(int32_t number, const std::vector<uint8_t>& bytes = {}, int32_t type = kTestType);
    void meet();

    std::atomic<int32_t> mEchoes{0};
    android::Mutex mMutex;
    android::Condition mMet;
    int mMeeting GUARDED_BY(mMutex) = 0;
    // The first to go, since its threads use the others.
    ServiceHost mHost;
};

void TestService::notify(int32_t number, const std::vector<uint8_t>& bytes, int32_t type) {
    const sp<TestNotify> message = new TestNotify(type);
    message->number = number;
    message->bytes = bytes;
    mHost.notify(message);
}

void TestService::meet() {
    AutoMutex lock(mMutex);
    ++mMeeting;
    mMet.broadcast();
    while (mMeeting < 2 && mMet.waitRelative(mMutex, kPatience) == 0) {
    }
}

void limitDescriptors(rlim_t limit) {
    rlimit limits{};
    getrlimit(RLIMIT_NOFILE, &limits);
    limits.rlim_cur = limit;
    setrlimit(RLIMIT_NOFILE, &limits);
}

sp<ServiceReply> TestService::handle(const TestItem& item) {
    const sp<TestReply> reply =
        new TestReply(item.number == kUnknownReply ? kUnknownType : kTestType);
    reply->number = item.number;
    switch (item.number) {
        case kSilence:
            return nullptr;
        case kUnknownReply:
            break;
        case kMeet:
            meet();
            break;
        case kHugeReply:
            reply->bytes.resize(17u << 20);
            break;
        case kNotifyMany:
            for (size_t i = 0; i < item.bytes.size(); ++i) {
                notify(static_cast<int32_t>(i));
            }
            break;
        case kNotifyLarge:
            notify(item.number, item.bytes);
            break;
        case kNotifyUnknown:
            notify(0, {}, kUnknownType);
            break;
        case kCountRequests:
            reply->number = mEchoes;
            break;
        case kTakeDescriptors:
            limitDescriptors(0);
            break;
        case kGiveDescriptors:
            limitDescriptors(256);
            break;
        default:
            ++mEchoes;
            reply->bytes = item.bytes;
    }
    return reply;
}

// Tells the process that started this one.
void sayReady() {
    if (write(STDOUT_FILENO, "!", 1) != 1) std::abort();
}

void awaitEndOfInput() {
    char byte;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
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
    // What comes may be anything but a length.
    bytes.resize(static_cast<size_t>(std::clamp(content->readInt32(), 0, 17 << 20)));
    content->readBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
}

template class TestMessage<ServiceItem>;
template class TestMessage<ServiceReply>;
template class TestMessage<ServiceNotify>;

sp<ServiceProtocol> TestInfo::protocol() {
    return new TestProtocol;
}

int serve(const std::string& directory) {
    TestService service(directory);
    if (!service.start()) return 1;
    sayReady();
    awaitEndOfInput();
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
    sayReady();
    awaitEndOfInput();
    return 7;
}

TestDirectory::TestDirectory() {
    char name[] = "/tmp/framework-test-XXXXXX";
    mPath = mkdtemp(name);
    setenv("SERVICE_FRAMEWORK_DIR", mPath.c_str(), 1);
    unsetenv("SERVICE_FRAMEWORK_TIMEOUT_MS");
}

TestDirectory::~TestDirectory() {
    std::filesystem::remove_all(mPath);
}

Process::Process(const char* role, const TestDirectory& directory) {
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
                 {std::filesystem::read_symlink("/proc/self/exe"), role, directory.path()});
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

Process::~Process() {
    if (mPid > 0) kill();
}

void Process::signal(int number) {
    ::kill(mPid, number);
    // A process goes on for a moment after it was told to stop.
    if (number == SIGSTOP) waitpid(mPid, nullptr, WUNTRACED);
}

void Process::kill() {
    signal(SIGKILL);
    wait();
}

int Process::finish() {
    close(std::exchange(mInput, -1));
    return wait();
}

int Process::wait() {
    int status = 0;
    waitpid(std::exchange(mPid, -1), &status, 0);
    if (mInput >= 0) close(std::exchange(mInput, -1));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

size_t Process::count(const char* folder) const {
    return entries("/proc/" + std::to_string(mPid) + "/" + folder);
}

int64_t Process::processorMilliseconds() const {
    clockid_t clock;
    timespec time{};
    if (clock_getcpuclockid(mPid, &clock) != 0 || clock_gettime(clock, &time) != 0) std::abort();
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

void Recorder::onNotify(sp<ServiceNotify>& notify) {
    int32_t number = kDamaged;
    if (notify->type() == ServiceStatusNotify::kType) {
        const auto& status = static_cast<ServiceStatusNotify&>(*notify);
        if (status.status == ServiceStatusNotify::kServiceLost) number = kLost;
    } else {
        const auto& message = static_cast<TestNotify&>(*notify);
        const auto& bytes = message.bytes;
        const auto expected = static_cast<uint8_t>(message.number);
        const bool intact =
            std::all_of(bytes.begin(), bytes.end(), [&](uint8_t byte) { return byte == expected; });
        if (intact) number = message.number;
    }
    {
        AutoMutex lock(mMutex);
        mNumbers.push_back(number);
        mChanged.broadcast();
    }
    if (mDuring) mDuring();
    AutoMutex lock(mMutex);
    ++mFinished;
}

std::vector<int32_t> Recorder::await(size_t count) {
    AutoMutex lock(mMutex);
    while (mNumbers.size() < count && mChanged.waitRelative(mMutex, kPatience) == 0) {
    }
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
    item->bytes.assign(size, static_cast<uint8_t>(number));
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

size_t entries(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

void setTimeout(const char* text) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", text, 1);
}

}  // namespace accessory

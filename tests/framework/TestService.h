#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <functional>
#include <string>
#include <vector>

#include "framework/ServiceHost.h"
#include "protocol/ServiceFramework.h"

// A small protocol of the tests' own, and the two sides of it.

namespace accessory {

constexpr int32_t kTestType = 7;
constexpr int32_t kUnknownType = 8;  // has no class in any of the three factories

// A message with a number and a block of bytes, as an item, a notification or a reply.
template <typename Base>
class TestMessage final : public Base {
public:
    explicit TestMessage(int32_t code = kTestType) : mCode(code) {}
    int32_t type() override { return mCode; }
    void serialization(sp<SerializationContent>& content) override;
    void deserialization(sp<DeserializationContent>& content) override;

    int32_t number = 0;
    std::vector<uint8_t> bytes;

private:
    const int32_t mCode;
};

using TestItem = TestMessage<ServiceItem>;
using TestReply = TestMessage<ServiceReply>;
using TestNotify = TestMessage<ServiceNotify>;

// What the service of this protocol does with an item's number.
enum Command : int32_t {
    kEcho = 1000,  // and whatever is larger: a reply with the same content
    kSilence = 1,  // no reply
    kUnknownReply,
    kHugeReply,
    kNotifyOnce,
    kNotifyMany,   // as many as the content is long, numbered from 0, in large parts
    kNotifyLarge,  // one with the item's bytes
    kNotifyUnknown,
};

class TestInfo final : public ServiceInfo {
public:
    const char* servicename() override { return "test.service"; }
    sp<ServiceProtocol> protocol() override;
};

// Serves until standard input ends. What `main` does when it was started as the service.
int serve(const std::string& directory);

// A directory for sockets that this process and those started by it use until it goes.
class TestDirectory {
public:
    TestDirectory();
    ~TestDirectory();
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};

// The service in a process of its own.
class ServiceProcess {
public:
    explicit ServiceProcess(const TestDirectory& directory);
    ~ServiceProcess();
    pid_t pid() const { return mPid; }
    void signal(int number);
    // Kills and waits for the end.
    void kill();

private:
    pid_t mPid = -1;
    int mInput = -1;
};

// Collects what a client is notified of. `during` runs inside each delivery.
class Recorder final : public ServiceNotifyListener {
public:
    explicit Recorder(std::function<void(int32_t number)> during = {})
        : mDuring(std::move(during)) {}
    void onNotify(sp<ServiceNotify>& notify) override;

    // The numbers of the notifications, a loss of the service as kLost. Waits until there are so
    // many.
    std::vector<int32_t> await(size_t count);
    size_t largest();

    static constexpr int32_t kLost = -2;

private:
    const std::function<void(int32_t)> mDuring;
    android::Mutex mMutex;
    android::Condition mChanged;
    std::vector<int32_t> mNumbers GUARDED_BY(mMutex);
    size_t mLargest GUARDED_BY(mMutex) = 0;
};

sp<ServiceClient> bind();
// The reply's number, or -1 when there was none.
int32_t ask(const sp<ServiceClient>& client, int32_t number, size_t size = 0,
            int32_t type = kTestType);
int32_t listen(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener);
int32_t unlisten(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener);

// Waits until `condition` holds, at most as long as a test may take.
bool eventually(const std::function<bool()>& condition);
int64_t milliseconds();

}  // namespace accessory

#pragma once

#include <sys/resource.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/ServiceHost.h"
#include "tests/support/Process.h"

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
    void serialization(sp<SerializationContent>& content) override {
        content->writeInt32(number);
        content->writeInt32(static_cast<int32_t>(bytes.size()));
        content->writeBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
    }
    void deserialization(sp<DeserializationContent>& content) override {
        number = content->readInt32();
        // What comes may be anything but a length.
        bytes.resize(static_cast<size_t>(std::clamp(content->readInt32(), 0, 17 << 20)));
        content->readBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
    }

    int32_t number = 0;
    std::vector<uint8_t> bytes;

private:
    const int32_t mCode;
};

using TestItem = TestMessage<ServiceItem>;
using TestReply = TestMessage<ServiceReply>;
using TestNotify = TestMessage<ServiceNotify>;

// What the service does with an item's number.
enum Command : int32_t {
    kSilence = 1,  // no reply
    kMeet,         // replies when kMeeting such requests are being handled
    kUnknownReply,
    kHugeReply,
    kNotifyMany,  // as many as the item has bytes, numbered from 0
    kNotifyLarge,
    kNotifyUnknown,
    kCountRequests,     // replies with the number of echoes so far
    kLimitDescriptors,  // lets the service have as many as the item has bytes
    kEcho = 1000,       // and whatever is larger: a reply with the same content
};

constexpr int kMeeting = 64;

class TestInfo final : public ServiceInfo {
public:
    const char* servicename() override { return "test.service"; }
    sp<ServiceProtocol> protocol() override;
};

// A reply with the item's content.
sp<ServiceReply> echo(ServiceHost::Request& request);

// What `main` does in the processes that tests start, until standard input ends: serves, is a
// client that leaves without releasing anything, or one that prints what it is notified of.
int serve(const std::string& directory);
int leave(const std::string& directory);
int print(const std::string& directory);

// This program once more, as a process of its own, which has said that it is ready.
class Role final : public testing_support::Process {
public:
    Role(const char* role, const testing_support::Folder& directory);

    // Lets it end, and answers its exit status.
    int finish();
};

// Collects what a client is notified of. `during` runs inside each delivery.
class Recorder final : public ServiceNotifyListener {
public:
    explicit Recorder(std::function<void()> during = {}) : mDuring(std::move(during)) {}
    void onNotify(sp<ServiceNotify>& notify) override;

    // The numbers of the notifications. Waits until there are so many.
    std::vector<int32_t> await(size_t count);
    // Nobody but the test holds this listener any more, so that nothing can be delivered to it.
    bool released();

    static constexpr int32_t kLost = -2;     // stands for a loss of the service
    static constexpr int32_t kDamaged = -3;  // for a content that is not what was sent

private:
    const std::function<void()> mDuring;
    android::Mutex mMutex;
    std::vector<int32_t> mNumbers GUARDED_BY(mMutex);
    size_t mFinished GUARDED_BY(mMutex) = 0;
};

sp<ServiceClient> bind();
constexpr int32_t kNone = -1;
// The reply's number, or kNone.
int32_t ask(const sp<ServiceClient>& client, int32_t number, size_t size = 0,
            int32_t type = kTestType);
int32_t listen(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener);
int32_t unlisten(const sp<ServiceClient>& client, const sp<ServiceNotifyListener>& listener);

int64_t milliseconds();
// How many file descriptors this process may have from now on; answers how many before.
rlim_t limitDescriptors(rlim_t limit);
// The environment's request timeout for the clients that are bound from now on.
void setTimeout(const char* text);

}  // namespace accessory

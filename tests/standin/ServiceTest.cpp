#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <optional>
#include <thread>

#include "tests/standin/ServiceTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"

// Requests and notifications of several clients, and a service that dies, hangs or runs short.

namespace accessory {
namespace {

using testing_support::entries;
using testing_support::eventually;
using testing_support::Folder;
using testing_support::Signal;

int64_t processorMilliseconds(pid_t process) {
    clockid_t clock;
    timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) abort();
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

TEST_F(ServiceTest, answersRequests) {
    const sp<ServiceClient> client = bind();
    ASSERT_TRUE(client != nullptr);
    struct {
        int32_t number;
        size_t size;
        int32_t answer;
    } const requests[] = {
        {kEcho, 0, kEcho},
        {kEcho + 1, 40, kEcho + 1},
        {kEcho + 2, 81'000, kEcho + 2},
        {kEcho + 3, 81'900 - 8, kEcho + 3},  // fills one datagram to the last byte
        {kEcho + 4, 81'900 - 7, kEcho + 4},  // needs a second one
        {kEcho + 5, 4u << 20, kEcho + 5},
        {kEcho + 6, (16u << 20) - 8, kEcho + 6},  // as large as can be
        {kEcho + 7, (16u << 20) - 7, kNone},      // not sent at all
        {kHugeReply, 0, kNone},
        {kUnknownReply, 0, kNone},
        {kEcho + 8, 1, kEcho + 8},
    };
    for (const auto& request : requests) {
        EXPECT_EQ(ask(client, request.number, request.size), request.answer);
    }
    // Nobody waits for the time to be up where an answer is not to be expected.
    const int64_t start = milliseconds();
    EXPECT_EQ(ask(client, kEcho, 0, kUnknownType), kNone);
    EXPECT_LT(milliseconds() - start, 4000);
    EXPECT_EQ(ask(client, kCountRequests), 8);
    sp<ServiceItem> none;
    EXPECT_TRUE(client->request(none) == nullptr);
}

TEST_F(ServiceTest, servesManyThreadsOfOneClientAtOnce) {
    const sp<ServiceClient> client = bind();
    std::vector<std::thread> threads;
    for (int i = 0; i < kMeeting; ++i)
        threads.emplace_back([&] { EXPECT_EQ(ask(client, kMeet), kMeet); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(ServiceTest, deliversEveryNotificationInOrder) {
    constexpr size_t kCount = 100'000;
    const sp<ServiceClient> client = bind();
    const sp<Recorder> recorder = record(client);
    const sp<Recorder> another = record(client);
    ASSERT_EQ(listen(client, another), 0);  // once is enough
    ASSERT_EQ(ask(client, kNotifyMany, kCount), kNotifyMany);
    EXPECT_EQ(recorder->await(kCount), upTo(kCount));
    EXPECT_EQ(another->await(kCount), upTo(kCount));
    // Large ones between small ones, and one that nobody can make anything of.
    ASSERT_EQ(ask(client, kNotifyLarge, 4u << 20), kNotifyLarge);
    ASSERT_EQ(ask(client, kNotifyUnknown), kNotifyUnknown);
    ASSERT_EQ(ask(client, kNotifyMany, 2), kNotifyMany);
    Numbers expected = upTo(kCount);
    expected.insert(expected.end(), {kNotifyLarge, 0, 1});
    EXPECT_EQ(recorder->await(kCount + 3), expected);
}

TEST_F(ServiceTest, neverReachesASuccessorOfAKilledService) {
    const sp<ServiceClient> client = bind();
    const sp<ServiceClient> unused = bind();
    const sp<Recorder> recorder = record(client);
    ASSERT_EQ(ask(client, kNotifyMany, 1), kNotifyMany);
    ASSERT_EQ(recorder->await(1), upTo(1));
    mService.kill();
    EXPECT_EQ(recorder->await(2), (Numbers{0, Recorder::kLost}));
    const auto failsAtOnce = [](const sp<ServiceClient>& lost) {
        const int64_t start = milliseconds();
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(ask(lost, kEcho), kNone);
        }
        // Who comes later is told as well.
        const sp<Recorder> late = new Recorder;
        EXPECT_NE(listen(lost, late), 0);
        EXPECT_EQ(late->await(1), Numbers{Recorder::kLost});
        EXPECT_LT(milliseconds() - start, 4000);
    };
    failsAtOnce(client);
    EXPECT_TRUE(bind() == nullptr);
    const Role successor("--serve", mDirectory);
    failsAtOnce(client);
    failsAtOnce(unused);
    EXPECT_EQ(recorder->await(2).size(), 2u);  // nobody is told twice
    EXPECT_EQ(ask(bind(), kCountRequests), 0);
}

TEST_F(ServiceTest, survivesAHungService) {
    const auto waitsInVain = [](const std::function<bool()>& fails) {
        const int64_t start = milliseconds();
        EXPECT_TRUE(fails());
        EXPECT_GE(milliseconds() - start, 250);
        // One that took the default would wait for so long.
        EXPECT_LT(milliseconds() - start, 5000);
    };
    setTimeout("300");
    const sp<ServiceClient> client = bind();
    mService.signal(SIGSTOP);
    const sp<ServiceClient> listening = bind();
    ASSERT_TRUE(listening != nullptr);
    const sp<Recorder> recorder = new Recorder;
    waitsInVain([&] { return ask(client, kEcho) == kNone; });
    // One that does not even fit into the socket.
    waitsInVain([&] { return ask(client, kEcho, 4u << 20) == kNone; });
    waitsInVain([&] { return listen(listening, recorder) != 0; });
    mService.signal(SIGCONT);
    setTimeout("60000");
    EXPECT_EQ(ask(bind(), kEcho + 1), kEcho + 1);
    // Who could not listen has lost the service, and does not ask it a second time.
    {
        testing_support::LogCapture log;
        EXPECT_EQ(ask(listening, kEcho), kNone);
        const auto lines = log.take("ServiceFramework");
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_NE(lines[0].find("the service is lost"), std::string::npos) << lines[0];
    }
    EXPECT_EQ(recorder->await(1), Numbers{Recorder::kLost});
    waitsInVain([&] { return ask(client, kSilence) == kNone; });
    EXPECT_TRUE(eventually([&] { return ask(client, kEcho + 2) == kEcho + 2; }));
}

TEST_F(ServiceTest, deliversToOthersWhileCallbacksBlock) {
    constexpr size_t kBlocked = 64;
    // Shared, because the last deliveries may outlive the test.
    const auto done = std::make_shared<Signal>();
    std::vector<sp<ServiceClient>> clients;
    std::vector<sp<Recorder>> blocked;
    for (size_t i = 0; i < kBlocked; ++i) {
        clients.push_back(bind());
        blocked.push_back(record(clients.back(), [done] { EXPECT_TRUE(done->wait()); }));
    }
    const sp<ServiceClient> client = bind();
    const sp<Recorder> recorder = record(client);
    ASSERT_EQ(ask(client, kNotifyMany, 10), kNotifyMany);
    EXPECT_EQ(recorder->await(10), upTo(10));
    for (const auto& each : blocked) {
        EXPECT_EQ(each->await(1), upTo(1));
    }
    const size_t threads = entries("/proc/self/task");
    done->set();
    for (const auto& each : blocked) {
        EXPECT_EQ(each->await(10), upTo(10));
    }
    // All had to be there; two are kept to wait.
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/task") <= threads - kBlocked + 1; }));
}

TEST_F(ServiceTest, startsNoDeliveryAfterTheListenerHasGone) {
    enum class How { kRemove, kRelease };
    for (const How how : {How::kRemove, How::kRelease}) {
        for (const bool inside : {true, false}) {
            sp<ServiceClient> client = bind();
            sp<Recorder> recorder;
            Signal delivering;
            Signal gone;
            const auto go = [&] {
                if (how == How::kRemove) {
                    unlisten(client, recorder);
                } else {
                    client.clear();
                }
                gone.set();
            };
            recorder = new Recorder([&] {
                delivering.set();
                if (inside) go();
                EXPECT_TRUE(gone.wait());
            });
            ASSERT_EQ(listen(client, recorder), 0);
            const sp<ServiceClient> asking = bind();
            ASSERT_EQ(ask(asking, kNotifyMany, 100), kNotifyMany);
            ASSERT_TRUE(delivering.wait());
            if (!inside) go();
            EXPECT_TRUE(eventually([&] { return recorder->released(); }));
            EXPECT_EQ(recorder->await(1), upTo(1));
            if (how == How::kRelease) continue;
            // The client goes on, and may listen again.
            const sp<Recorder> next = record(client);
            ASSERT_EQ(ask(client, kNotifyMany, 3), kNotifyMany);
            EXPECT_EQ(next->await(3), upTo(3));
        }
    }
}

TEST_F(ServiceTest, skipsAListenerThatAnotherHasRemoved) {
    const sp<ServiceClient> client = bind();
    sp<Recorder> removed;
    const sp<Recorder> removing = record(client, [&] { unlisten(client, removed); });
    removed = record(client);
    // The same when the other has released the client, for which both have listened.
    sp<ServiceClient> releasing = bind();
    const sp<Recorder> last = record(releasing, [&] { releasing.clear(); });
    const sp<Recorder> behind = record(releasing);
    ASSERT_EQ(ask(client, kNotifyMany, 3), kNotifyMany);
    EXPECT_EQ(removing->await(3), upTo(3));
    EXPECT_TRUE(removed->await(0).empty());
    EXPECT_TRUE(eventually([&] { return last->released() && behind->released(); }));
    EXPECT_EQ(last->await(1), upTo(1));
    EXPECT_TRUE(behind->await(0).empty());
    unlisten(client, removing);
    EXPECT_TRUE(eventually([&] { return removing->released(); }));
}

TEST_F(ServiceTest, reachesTheClientsOfOneProcessOnly) {
    mService.kill();
    ServiceHost host(new TestInfo, echo);
    ASSERT_TRUE(host.start());
    const sp<ServiceClient> client = bind();
    const sp<Recorder> recorder = record(client);
    Role other("--print", mDirectory);
    const auto connectionsOf = [&](pid_t process, bool listens) {
        const auto all = host.connections();
        return std::count_if(all.begin(), all.end(), [&](const auto& connection) {
            return connection.process == process && connection.listens == listens;
        });
    };
    for (const pid_t process : {getpid(), other.pid()}) {
        EXPECT_EQ(connectionsOf(process, false), 1);
        EXPECT_EQ(connectionsOf(process, true), 1);
    }
    const sp<TestNotify> notify = new TestNotify;
    notify->number = 5;
    EXPECT_EQ(host.notify(notify, other.pid()), 1u);
    notify->number = 6;
    EXPECT_EQ(host.notify(notify), 2u);
    EXPECT_TRUE(other.waitForLine("5"));
    EXPECT_TRUE(other.waitForLine("6"));
    EXPECT_TRUE(host.disconnect(other.pid(), "tried out"));
    EXPECT_TRUE(other.waitForLine("-2"));
    EXPECT_TRUE(eventually([&] { return host.connections().size() == 2; }));
    EXPECT_FALSE(host.disconnect(other.pid(), "tried out"));
    EXPECT_EQ(host.notify(notify, other.pid()), 0u);
    other.finish();
    EXPECT_NE(other.errors().find("the service has cut this process off: tried out"),
              std::string::npos);
    EXPECT_EQ(ask(client, kEcho), kEcho);
    EXPECT_EQ(recorder->await(1), Numbers{6});
}

TEST_F(ServiceTest, copesWithoutFileDescriptors) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors for its own checks";
#endif
    const sp<ServiceClient> client = bind();
    ASSERT_EQ(ask(client, kEcho), kEcho);
    const sp<Recorder> recorder = new Recorder;
    const rlim_t before = limitDescriptors(0);
    const sp<ServiceClient> second = bind();
    const int32_t answer = ask(client, kEcho);
    const int32_t listening = listen(client, recorder);
    limitDescriptors(before);
    EXPECT_TRUE(second == nullptr);
    EXPECT_EQ(answer, kEcho);
    EXPECT_NE(listening, 0);

    const sp<ServiceClient> control = bind();
    ASSERT_EQ(ask(control, kLimitDescriptors, 0), kLimitDescriptors);
    setTimeout("300");
    // The service may be waiting for the next client with a descriptor that it already has.
    ask(bind(), kEcho);
    const sp<ServiceClient> waiting = bind();
    ASSERT_TRUE(waiting != nullptr);
    const int64_t start = processorMilliseconds(mService.pid());
    EXPECT_EQ(ask(waiting, kEcho), kNone);
    EXPECT_LT(processorMilliseconds(mService.pid()) - start, 30);
    ASSERT_EQ(ask(control, kLimitDescriptors, 256), kLimitDescriptors);
    setTimeout("60000");
    EXPECT_EQ(ask(bind(), kEcho), kEcho);
    EXPECT_TRUE(eventually([&] { return ask(waiting, kEcho) == kEcho; }));
}

}  // namespace
}  // namespace accessory

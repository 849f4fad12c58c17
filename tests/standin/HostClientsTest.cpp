#include <sys/socket.h>

#include <future>
#include <numeric>
#include <thread>

#include "standin/Host.h"
#include "tests/standin/Wire.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"

// What a host knows of its clients, and what it does for those that are slow.

namespace accessory::standin {
namespace {

using testing_support::eventually;
using testing_support::LogCapture;
using testing_support::Signal;

constexpr size_t kLarge = 50'000;

// A notification that has a datagram for itself.
sp<ServiceNotify> large(int32_t number) {
    const sp<TestNotify> notify = new TestNotify;
    notify->number = number;
    notify->bytes.resize(kLarge);
    return notify;
}

std::vector<int32_t> upTo(int32_t count) {
    std::vector<int32_t> numbers(static_cast<size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

class HostClientsTest : public testing::Test {
protected:
    // A peer that has been told that it listens.
    UniqueFd listen(Host& host) {
        Pair pair = makePair();
        EXPECT_TRUE(host.adopt(std::move(pair.own)));
        sendTo(pair.peer, frame(FrameKind::kListen, 0, 0));
        EXPECT_EQ(receiveFrom(pair.peer), frame(FrameKind::kListening, 0, 0, 0, 0, 0));
        return std::move(pair.peer);
    }

    // The numbers of the next `count` notifications, or of those before the end.
    static std::vector<int32_t> numbers(const UniqueFd& peer, size_t count = SIZE_MAX) {
        std::vector<int32_t> all;
        while (all.size() < count) {
            const Bytes datagram = receiveFrom(peer);
            if (datagram.size() != kHeaderSize + 8 + kLarge) break;
            std::memcpy(&all.emplace_back(), &datagram[kHeaderSize], sizeof(int32_t));
        }
        return all;
    }

    LogCapture mLog;
};

TEST_F(HostClientsTest, tellsTheHandlerWhoAsksAndWhenTheAnswerHasLeft) {
    enum : int32_t { kAnswer = kEcho, kNone, kSilent, kTooLong };
    Pair pair = makePair();
    const int peer = pair.peer.get();
    std::atomic<int> settled{0};
    std::atomic<bool> left{false};
    std::atomic<bool> wrongClient{false};
    Host host(new TestInfo, [&](ServiceHost::Request& request) -> sp<ServiceReply> {
        const int32_t number = static_cast<TestItem&>(*request.item).number;
        wrongClient = request.process != getpid() || request.connection != 1;
        request.noReply = number == kNone;
        request.settled = [&] {
            uint8_t byte;
            left = recv(peer, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
            ++settled;
        };
        if (number == kNone || number == kSilent) return nullptr;
        const sp<TestReply> reply = new TestReply;
        if (number == kTooLong) reply->bytes.resize(kMaxContent);
        return reply;
    });
    ASSERT_TRUE(host.adopt(std::move(pair.own)));
    const struct {
        int32_t number;
        FrameKind answer;
    } rows[] = {{kAnswer, FrameKind::kReply},
                {kNone, FrameKind::kNoReply},
                {kTooLong, FrameKind::kNoReply},
                {kSilent, FrameKind{0}}};
    int requests = 0;
    for (const auto& row : rows) {
        Bytes request = frame(FrameKind::kRequest, 1, 8);
        std::memcpy(&request[kHeaderSize], &row.number, sizeof(row.number));
        sendTo(pair.peer, request);
        ++requests;
        ASSERT_TRUE(eventually([&] { return settled == requests; })) << row.number;
        EXPECT_FALSE(wrongClient);
        const bool answered = row.answer != FrameKind{0};
        ASSERT_EQ(left, answered) << row.number;
        if (answered) {
            EXPECT_EQ(receiveFrom(pair.peer)[2], static_cast<int>(row.answer));
        }
    }
    // The client goes without waiting for its answer.
    sendTo(pair.peer, frame(FrameKind::kRequest, 1, 8));
    pair.peer.reset();
    EXPECT_TRUE(eventually([&] { return settled == requests + 1; }));
}

TEST_F(HostClientsTest, waitsForRoomSoThatABurstReachesASlowClient) {
    Host host(new TestInfo, echo, {"", 10 * kLarge, {}});
    const UniqueFd peer = listen(host);
    std::thread notifying([&] {
        for (int32_t i = 0; i < 200; ++i) {
            EXPECT_TRUE(host.sender().waitForRoom(60'000));
            host.notify(large(i));
        }
    });
    EXPECT_EQ(numbers(peer, 200), upTo(200));
    notifying.join();
    EXPECT_TRUE(mLog.take("ServiceFramework").empty());
}

TEST_F(HostClientsTest, doesNotWaitForAClientThatTakesNothing) {
    Host host(new TestInfo, echo, {"", 100 * kLarge, {}});
    const UniqueFd stuck = listen(host);
    // More than half of the queue, whatever fits into the socket.
    for (int i = 0; i < 70; ++i) {
        host.notify(large(i));
    }
    const UniqueFd healthy = listen(host);
    EXPECT_FALSE(host.sender().waitForRoom(1));
    int asked = 0;
    EXPECT_FALSE(host.sender().waitForRoom(1'000'000, [&] { return ++asked == 2; }));
    EXPECT_EQ(host.notify(large(7)), 2u);
    EXPECT_EQ(numbers(healthy, 1), std::vector<int32_t>{7});
}

TEST_F(HostClientsTest, forgetsAClientThatHasGone) {
    Host host(new TestInfo, echo);
    UniqueFd stays = listen(host);
    listen(host).reset();
    EXPECT_TRUE(eventually([&] { return host.sender().clients() == 1; }));
    // One that is full is watched in another way.
    for (int i = 0; i < 20; ++i) {
        host.notify(large(i));
    }
    EXPECT_EQ(numbers(stays, 20), upTo(20));
    EXPECT_EQ(host.sender().clients(), 1u);
    EXPECT_EQ(host.connections().size(), 1u);
    // It has read everything, and the end is all that the host can see of it.
    stays.reset();
    EXPECT_TRUE(eventually([&] { return host.sender().clients() == 0; }));
    // A stop ends it for all, and is over afterwards.
    host.stop();
    stays = listen(host);
    host.notify(large(7));
    EXPECT_EQ(numbers(stays, 1), std::vector<int32_t>{7});
}

TEST_F(HostClientsTest, countsWhatWasNotTaken) {
    constexpr int32_t kCount = 20;
    // How many of them a socket takes that nobody reads.
    const Pair full = makePair();
    const Bytes datagram(kHeaderSize + 8 + kLarge);
    int32_t fit = 0;
    while (send(full.own.get(), datagram.data(), datagram.size(), MSG_DONTWAIT) > 0)
        ++fit;
    ASSERT_LT(fit, kCount);
    for (const bool reads : {false, true}) {
        Host host(new TestInfo, echo);
        const UniqueFd peer = listen(host);
        for (int32_t i = 0; i < kCount; ++i) {
            host.notify(large(i));
        }
        std::future<std::vector<int32_t>> all;
        if (reads) all = std::async(std::launch::async, [&] { return numbers(peer); });
        const int32_t taken = reads ? kCount : fit;
        EXPECT_TRUE(eventually([&] {
            return host.sender().waitUntilTaken(reads ? 60'000 : 1) ==
                   static_cast<size_t>(kCount - taken);
        }));
        host.stop();
        EXPECT_EQ(reads ? all.get() : numbers(peer), upTo(taken));
    }
}

TEST_F(HostClientsTest, cutsOffAProcessThatDoesNotKeepUp) {
    std::atomic<size_t> reported{SIZE_MAX};
    Host host(new TestInfo, echo, {"", 20 * kLarge, [&](size_t clients) { reported = clients; }});
    Pair other = makePair();
    ASSERT_TRUE(host.adopt(std::move(other.own)));
    const UniqueFd slow = listen(host);
    ASSERT_TRUE(eventually([&] { return reported == 1; }));
    for (int i = 0; i < 100; ++i) {
        host.notify(large(i));
    }
    EXPECT_TRUE(eventually([&] { return host.sender().clients() == 0; }));
    EXPECT_TRUE(receiveFrom(other.peer).empty());
    // The last that the client gets is the reason, behind what its full socket still holds.
    Bytes last;
    for (Bytes next = receiveFrom(slow); !next.empty(); next = receiveFrom(slow)) {
        last = std::move(next);
    }
    const std::string reason = "it does not keep up with its notifications";
    const Bytes text(reason.c_str(), reason.c_str() + reason.size() + 1);
    EXPECT_EQ(last, frame(FrameKind::kCutOff, 0, 43, 0, 0, 0) + text);
    EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u);
    host.stop();
    EXPECT_EQ(reported, 0u);
}

}  // namespace
}  // namespace accessory::standin

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <memory>

#include "standin/Host.h"
#include "standin/NotifyPool.h"
#include "tests/standin/Wire.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"

// Client and host of this process, each against a peer that sends what no decent peer would.

namespace accessory::standin {
namespace {

using testing_support::LogCapture;
using testing_support::Signal;

// Datagrams that break a connection of whichever kind.
struct Broken {
    const char* what;
    std::vector<Bytes> datagrams;
};

std::vector<Broken> brokenFrames(FrameKind kind) {
    return {
        {"shorter than a header", {Bytes(kHeaderSize - 1, 1)}},
        {"another version", {frame(kind, 1, 8, 0, 8, kTestType, kWireVersion + 1)}},
        {"unknown kinds", {frame(FrameKind{0}, 1, 8)}},
        {"unknown kinds", {frame(FrameKind{8}, 1, 8)}},
        {"a kind of the other direction", {frame(FrameKind::kListening, 1, 0)}},
        {"cut off", {frame(kind, 1, 8, 0, 7)}},
        {"longer than it says", {frame(kind, 1, 8, 0, 9)}},
        {"longer than a datagram", {frame(kind, 1, kTwoParts, 0, kTwoParts)}},
        {"over the limit", {frame(kind, 1, kMaxContent + 1)}},
        {"beginning in the middle", {frame(kind, 1, kTwoParts, kMaxPart)}},
        {"other message in between", {frame(kind, 1, kTwoParts), frame(kind, 2, 8)}},
        {"second part too short",
         {frame(kind, 1, 2 * kMaxPart), frame(kind, 1, 2 * kMaxPart, kMaxPart, 9)}},
    };
}

class WireTest : public testing::Test {
protected:
    WireTest() { setTimeout("60000"); }
    LogCapture mLog;
};

TEST_F(WireTest, keepsToTheDocumentedForm) {
    Host host(new TestInfo, echo);
    Pair pair = makePair();
    ASSERT_TRUE(host.adopt(std::move(pair.own)));
    const Bytes content = {5, 0, 0, 0, 0, 0, 0, 0};
    const struct {
        Bytes sent;
        Bytes answered;
    } rows[] = {
        {Bytes{1, 0, 1, 0, 7, 0, 0, 0, 9, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0} + content,
         Bytes{1, 0, 2, 0, 7, 0, 0, 0, 9, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0} + content},
        // An item that nobody knows.
        {{1, 0, 1, 0, 8, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
         {1, 0, 3, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        // From here on it listens.
        {{1, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
         {1, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        sendTo(pair.peer, row.sent);
        EXPECT_EQ(receiveFrom(pair.peer), row.answered) << &row - rows;
    }
    const sp<TestNotify> message = new TestNotify;
    message->number = 5;
    host.notify(message);
    const Bytes notify = {1, 0, 6, 0, 7, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(receiveFrom(pair.peer), notify + content);
    static_assert(kMaxPart == 81'900 && kMaxContent == 16u << 20, "as docs/wire.md says");
}

TEST_F(WireTest, hostClosesAConnectionOnNonsense) {
    Host host(new TestInfo, echo);
    std::vector<Broken> rows = brokenFrames(FrameKind::kRequest);
    rows.push_back({"a reply", {frame(FrameKind::kReply, 1, 8)}});
    rows.push_back({"words where it listens", {frame(FrameKind::kListen, 0, 0), Bytes(3, 1)}});
    for (const Broken& row : rows) {
        Pair good = makePair();
        Pair bad = makePair();
        ASSERT_TRUE(host.adopt(std::move(good.own)));
        ASSERT_TRUE(host.adopt(std::move(bad.own)));
        sendAll(bad.peer, row.datagrams);
        Bytes answer = receiveFrom(bad.peer);
        if (!answer.empty()) {
            EXPECT_EQ(answer, frame(FrameKind::kListening, 0, 0, 0, 0, 0)) << row.what;
            answer = receiveFrom(bad.peer);
        }
        EXPECT_TRUE(answer.empty()) << row.what;
        const std::vector<std::string> lines = mLog.take("ServiceFramework");
        ASSERT_EQ(lines.size(), 1u) << row.what;
        EXPECT_EQ(lines[0].find("cannot receive"), std::string::npos) << lines[0];
        EXPECT_EQ(ask(clientOf(std::move(good.peer)), 5), 5) << row.what;
    }
}

TEST_F(WireTest, clientClosesAConnectionOnNonsense) {
    Host host(new TestInfo, echo);
    std::vector<Broken> rows = brokenFrames(FrameKind::kReply);
    rows.push_back({"an answer to the future", {frame(FrameKind::kReply, 2, 8)}});
    rows.push_back({"a request", {frame(FrameKind::kRequest, 1, 8)}});
    for (const Broken& row : rows) {
        Pair good = makePair();
        Pair bad = makePair();
        ASSERT_TRUE(host.adopt(std::move(good.own)));
        sendAll(bad.peer, row.datagrams);
        const auto client = clientOf(std::move(bad.own), std::move(good.peer));
        EXPECT_EQ(ask(client, 5), kNone) << row.what;
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u) << row.what;
        EXPECT_FALSE(receiveFrom(bad.peer).empty()) << row.what;  // the request
        EXPECT_TRUE(receiveFrom(bad.peer).empty()) << row.what;
        EXPECT_EQ(ask(client, 5), 5) << row.what;
    }
}

TEST_F(WireTest, clientSkipsAnswersToEarlierRequests) {
    const Bytes number = {5, 0, 0, 0};
    const Bytes empty = {0, 0, 0, 0};
    Pair pair = makePair();
    sendAll(pair.peer, {
                           frame(FrameKind::kReply, 0, 8),
                           frame(FrameKind::kReply, 0xffffffff, kTwoParts),
                           frame(FrameKind::kReply, 0xffffffff, kTwoParts, kMaxPart),
                           frame(FrameKind::kNoReply, 0, 0),
                           frame(FrameKind::kReply, 1, 8, 0, 0) + number + empty,
                       });
    EXPECT_EQ(ask(clientOf(std::move(pair.own)), 5), 5);
}

TEST_F(WireTest, takesNoMessageThatEndsEarly) {
    NotifyPool::instance().start();
    const Bytes shorts[] = {{}, {5, 0, 0, 0, 2, 0, 0}, {5, 0, 0, 0, 2, 0, 0, 0, 5}};
    const Bytes longer = {5, 0, 0, 0, 0, 0, 0, 0, 9, 9};
    const auto message = [](FrameKind kind, uint32_t sequence, const Bytes& content) {
        return frame(kind, sequence, static_cast<uint32_t>(content.size()), 0, 0) + content;
    };
    for (const Bytes& content : shorts) {
        std::atomic<int> handled{0};
        Host host(new TestInfo, [&](ServiceHost::Request& request) {
            ++handled;
            return echo(request);
        });
        Pair asking = makePair();
        ASSERT_TRUE(host.adopt(std::move(asking.own)));
        sendTo(asking.peer, message(FrameKind::kRequest, 1, content));
        EXPECT_EQ(receiveFrom(asking.peer), frame(FrameKind::kNoReply, 1, 0, 0, 0, 0));
        EXPECT_EQ(handled, 0);
        sendTo(asking.peer, message(FrameKind::kRequest, 2, longer));
        EXPECT_EQ(receiveFrom(asking.peer)[2], static_cast<int>(FrameKind::kReply));
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u) << content.size();

        Pair answering = makePair();
        Pair listening = makePair();
        sendAll(answering.peer,
                {message(FrameKind::kReply, 1, content), message(FrameKind::kReply, 2, longer)});
        sendAll(listening.peer,
                {frame(FrameKind::kListening, 0, 0),
                 message(FrameKind::kNotify, 0, content) + message(FrameKind::kNotify, 0, longer)});
        const auto client = clientOf(std::move(answering.own), std::move(listening.own));
        EXPECT_EQ(ask(client, 5), kNone);
        EXPECT_EQ(ask(client, 5), 5);
        const sp<Recorder> recorder = new Recorder;
        ASSERT_EQ(listen(client, recorder), 0);
        EXPECT_EQ(recorder->await(1), std::vector<int32_t>{5});
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 2u) << content.size();
    }
}

TEST_F(WireTest, losesTheServiceOnNonsenseWhereItListens) {
    NotifyPool::instance().start();
    std::vector<Broken> rows = brokenFrames(FrameKind::kNotify);
    rows.push_back({"a reply", {frame(FrameKind::kReply, 0, 8)}});
    rows.push_back({"good and bad", {frame(FrameKind::kNotify, 0, 8) + Bytes(3, 1)}});
    for (const Broken& row : rows) {
        // Frames may share a datagram here, so this is just the one after.
        if (row.what == std::string("longer than it says")) continue;
        Pair requests = makePair();
        Pair listening = makePair();
        sendTo(listening.peer, frame(FrameKind::kListening, 0, 0));
        sendTo(listening.peer, frame(FrameKind::kNotify, 0, 8) + frame(FrameKind::kNotify, 0, 8));
        sendAll(listening.peer, row.datagrams);
        const auto client = clientOf(std::move(requests.own), std::move(listening.own));
        const sp<Recorder> recorder = new Recorder;
        ASSERT_EQ(listen(client, recorder), 0);
        const size_t before = row.what == std::string("good and bad") ? 3 : 2;
        std::vector<int32_t> expected(before, 0);
        expected.push_back(Recorder::kLost);
        EXPECT_EQ(recorder->await(before + 1), expected) << row.what;
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u) << row.what;
        EXPECT_EQ(ask(client, 5), kNone) << row.what;
        mLog.take();
    }
}

TEST_F(WireTest, tellsWhyItWasCutOff) {
    NotifyPool::instance().start();
    Pair listening = makePair();
    sendTo(listening.peer, frame(FrameKind::kListening, 0, 0));
    // In the middle of a message, and nothing counts that comes after it.
    sendTo(listening.peer, frame(FrameKind::kNotify, 0, kTwoParts));
    sendTo(listening.peer, frame(FrameKind::kCutOff, 0, 5, 0, 0) + Bytes{'s', 'l', 'o', 'w', 0} +
                               frame(FrameKind::kNotify, 0, 8));
    const auto client = clientOf(std::move(makePair().own), std::move(listening.own));
    const sp<Recorder> recorder = new Recorder;
    ASSERT_EQ(listen(client, recorder), 0);
    EXPECT_EQ(recorder->await(1), std::vector<int32_t>{Recorder::kLost});
    EXPECT_EQ(mLog.take(), std::vector<std::string>{
                               "E/ServiceFramework: the service has cut this process off: slow"});
}

TEST_F(WireTest, deliversWhatHadComeBeforeTheServiceDied) {
    NotifyPool::instance().start();
    Pair listening = makePair();
    sendTo(listening.peer, frame(FrameKind::kListening, 0, 0));
    sendAll(listening.peer, std::vector<Bytes>(50, frame(FrameKind::kNotify, 0, 8)));
    // Shared, because the last delivery may outlive the test.
    const auto dead = std::make_shared<Signal>();
    const sp<Recorder> recorder = new Recorder([dead] { EXPECT_TRUE(dead->wait()); });
    const auto client = clientOf(std::move(makePair().own), std::move(listening.own));
    ASSERT_EQ(listen(client, recorder), 0);
    listening.peer.reset();
    dead->set();
    std::vector<int32_t> expected(50, 0);
    expected.push_back(Recorder::kLost);
    EXPECT_EQ(recorder->await(51), expected);
}

TEST_F(WireTest, limitsTheFirstMessageOfAConnectionToo) {
    Pair pair = makePair();
    FrameSocket socket(pair.own.get());
    const auto limit = [&] {
        timeval time{};
        socklen_t size = sizeof(time);
        getsockopt(pair.own.get(), SOL_SOCKET, SO_RCVTIMEO, &time, &size);
        return time.tv_sec * 1000 + time.tv_usec / 1000;
    };
    Message message;
    // What is left of the time, set anew for each message.
    for (const int milliseconds : {1000, 500, 1500}) {
        socket.begin(Deadline(milliseconds));
        EXPECT_EQ(socket.receive(message), IoStatus::kTimeout);
        EXPECT_GT(limit(), 0);
        EXPECT_LE(limit(), milliseconds + 10);  // the kernel rounds up
    }
}

TEST_F(WireTest, refusesPeersOfOtherUsers) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    ASSERT_EQ(seteuid(65534), 0);
    Pair forHost = makePair();
    Pair forClient = makePair();
    Pair forLater = makePair();
    ASSERT_EQ(seteuid(0), 0);
    Host host(new TestInfo, echo);
    EXPECT_FALSE(host.adopt(std::move(forHost.own)));
    EXPECT_TRUE(receiveFrom(forHost.peer).empty());
    EXPECT_TRUE(clientOf(std::move(forClient.own)) == nullptr);
    EXPECT_EQ(ask(clientOf({}, std::move(forLater.own)), 5), kNone);
    EXPECT_EQ(mLog.take("ServiceFramework").size(), 3u);
}

}  // namespace
}  // namespace accessory::standin

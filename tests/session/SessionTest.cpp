#include <gtest/gtest.h>
#include <zrmirvo/Session.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/session/Loop.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Process.h"

// A session and the emulator, step by step. Each test needs a process of its own, since the version
// of the service is kept for the life of a process, and since one of them forks.

namespace session_test {
namespace {

using namespace zrmirvo;
using Code = Status::Code;

std::string text(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST_F(SessionTest, operationsReachTheServiceInTheirOrder) {
    startEmulator();
    Session session("3.6");
    Phone seven = phone(session);
    const std::vector<Point> points{{1, 2, 3}, {4, 5, 6}};
    const std::string touch = " time=9 count=2 array1=[1,4] array2=[2,5] array3=[3,6]";
    struct Row {
        std::function<Status()> run;
        std::string line;
    };
    const auto bytes = [](const Pending<Result<Bytes>>& pending) {
        const Result<Bytes> result = pending.get();
        EXPECT_EQ(text(result.value), "o");
        return result.status;
    };
    mEmulator->type("answer cookKeyEvent bytes 6F\nanswer cookTouchEvent bytes 6F");
    mEmulator->type("answer cookCalibrateEvent bytes 6F\ndescriptor-bytes 6F");
    ASSERT_EQ(requests("key"), 0u);
    const Row rows[] = {
        {[&] { return seven.key(Key::Back, Press::Down).get(); },
         "sendKeyEvent accessory=7 keyCode=4 flag=true -> result=0"},
        {[&] { return seven.key(1234, Press::Up).get(); },
         "sendKeyEvent accessory=7 keyCode=3 flag=false -> result=0"},
        {[&] { return seven.touch(TouchAction::Down, points, 9, 8).get(); },
         "sendTouchEvent accessory=7" + touch + " action=1 extra=8 -> result=0"},
        {[&] { return seven.calibrate().get(); }, "sendCalibrateEvent accessory=7 -> result=0"},
        {[&] { return bytes(seven.cookKey(Key::Menu, Press::Up)); },
         "cookKeyEvent accessory=7 keyCode=2 flag=false -> result=0 bytes=\"6F\""},
        {[&] { return bytes(seven.cookTouch(TouchAction::Up, points, 9)); },
         "cookTouchEvent accessory=7" + touch + " action=2 extra=0 -> result=0 bytes=\"6F\""},
        {[&] { return bytes(seven.cookCalibrate()); },
         "cookCalibrateEvent accessory=7 -> result=0 bytes=\"6F\""},
        {[&] { return seven.forceLandscape(true).get(); },
         "sendForceLandscape accessory=7 flag=true -> result=0"},
        {[&] { return seven.videoFocus(2, false).get(); },
         "sendVideoFocus accessory=7 focus=2 flag=false -> result=0"},
        {[&] { return seven.readyForPairing(false).get(); },
         "sendOnReadyForPairing accessory=7 flag=false -> result=0"},
        {[&] { return seven.timeDateInquiry().get(); },
         "sendTimeDateInquiry accessory=7 -> result=0"},
        {[&] { return seven.displayConfiguration(1, 2, 3, 4, 5).get(); },
         "sendDisplayConfiguration accessory=7 value1=1 value2=2 value3=3 value4=4 value5=5 -> "
         "result=0"},
        {[&] {
             return seven.feature(3, {"ok", 2}).get();
         },
         "setFeature accessory=7 feature=3 data=\"6F6B\" -> result=0 bytes=\"\""},
        {[&] { return session.configFile("/a").get(); }, "setConfigFile path=\"/a\" -> result=0"},
        {[&] { return session.bluetoothConfig("b", 5).get(); },
         "setBluetoothConfig text=\"b\" value=5 -> result=0"},
        {[&] { return session.connect("usb").get(); }, "connect arg=\"usb\" -> result=0"},
        {[&] { return session.disconnect("usb").get(); }, "disconnect arg=\"usb\" -> result=0"},
        {[&] { return bytes(session.hidDescriptor()); }, "getHidDescriptor"},
        {[&] { return session.shutdown().get(); }, "shutdown -> result=0"},
    };
    std::string expected;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(row.run().text(), "done");
        EXPECT_GE(requests(row.line), 1u) << mEmulator->output();
    }
    EXPECT_TRUE(seven.appKey(Key::Back, Press::Up).get());
    EXPECT_TRUE(seven.appTouch(TouchAction::Up, points).get());
    EXPECT_EQ(session.versions().get().value.serverPatch, 6);
    EXPECT_EQ(session.ids().get().value, std::vector<unsigned int>{7});
}

TEST_F(SessionTest, handlersAreToldOnTheLoop) {
    startEmulator();
    Session session("3.6");
    Phone seven = phone(session);
    std::string told;
    seven.onRunningState([&](int state) { told += "state " + std::to_string(state) + ";"; });
    seven.onControlUnavailable([&] { told += "unavailable;"; });
    seven.onDeviceRequestData([&](ByteSpan data) { told += "data " + text(data) + ";"; });
    seven.onDeviceRequest(
        [&](int a, int b) { told += "request " + std::to_string(a) + std::to_string(b) + ";"; });
    seven.onScreenOrientation([&](int value) { told += "turned " + std::to_string(value) + ";"; });
    seven.onTimeDate([&](const TimeDate& time) { told += std::to_string(time.dayOfWeek) + ";"; });
    seven.onHidReportDescriptor([&](const Bytes& bytes) { told += text(bytes) + ";"; });
    // A handler may replace itself.
    seven.onHidEvent([&told, seven](ByteSpan data) {
        told += "hid " + text(data) + ";";
        seven.onHidEvent([&told](ByteSpan) { told += "other;"; });
    });
    bool gone = false;
    seven.onDeviceResponse([&] { told += "response;"; });
    seven.onGone([&] { gone = true; });
    mEmulator->type(
        "state 7 1\nunavailable 7\nrequest-data 7 6869\nrequest 7 3 4\norientation 7 2");
    mEmulator->type("time-date 7 1 2 3 4 5 6 7 8 9\ndescriptor 7 64\nhid 7 61\nhid 7 62");
    mEmulator->type("state 8 9\nresponse 7");
    ASSERT_TRUE(dispatchUntil(session, [&] { return told.find("response") != told.npos; }));
    mEmulator->type("detach 7");
    ASSERT_TRUE(dispatchUntil(session, [&] { return gone; }));
    EXPECT_EQ(told, "state 1;unavailable;data hi;request 34;turned 2;9;d;hid a;other;response;");
    EXPECT_EQ(seven.key(Key::Back, Press::Down).get().code(), Code::Gone);
}

TEST_F(SessionTest, eachEndOfARequestHasItsStatus) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "60000", 1);
    startEmulator("answer sendCalibrateEvent 5\nmistype sendForceLandscape\nattach 7");
    Session::Options options;
    options.requests = 2;
    options.longestWait = std::chrono::seconds(2);
    Session session("3.6", options);
    std::unique_ptr<Phone> found;
    session.onPhone([&](const Phone& phone) { found = std::make_unique<Phone>(phone); });
    ASSERT_TRUE(dispatchUntil(session, [&] { return found != nullptr; }));
    const Status calibrated = found->calibrate().get();
    EXPECT_EQ(calibrated.code(), Code::Service);
    EXPECT_EQ(calibrated.text(), "the service answered 5");
    EXPECT_EQ(found->forceLandscape(true).get().code(), Code::Failed);
    EXPECT_EQ(session.configFile(std::string("a\0b", 3)).get().code(), Code::Refused);
    EXPECT_EQ(session.bluetoothConfig(std::string(32, 'x'), 0).get().code(), Code::Refused);
    // Unknown to the compiler, which would warn of what is not there.
    volatile size_t tooMany = size_t{1} << 31;
    EXPECT_EQ(found->feature(9, {"", tooMany}).get().code(), Code::Refused);

    // Inside dispatch() nobody can be waited for.
    bool refused = false;
    found->onDeviceResponse([&] { refused = found->calibrate().get().code() == Code::Refused; });
    mEmulator->type("response 7");
    ASSERT_TRUE(dispatchUntil(session, [&] { return refused; }));

    // One request takes long, two wait too long, and the others find no room.
    mEmulator->type("once delay sendKeyEvent 4000");
    EXPECT_EQ(requests("sendKeyEvent"), 0u);
    std::vector<Code> codes;
    const auto note = [&](Status status) { codes.push_back(status.code()); };
    found->key(Key::Back, Press::Up).then(note);
    EXPECT_TRUE(testing_support::eventually(
        [&] { return found->calibrate().get().code() == Code::TooLate; }));
    ASSERT_TRUE(dispatchUntil(session, [&] { return codes.size() == 1; }));
    mEmulator->signal(SIGSTOP);
    for (int i = 0; i < 20; ++i)
        found->key(Key::Back, Press::Up).then(note);
    mEmulator->signal(SIGCONT);
    ASSERT_TRUE(dispatchUntil(session, [&] { return codes.size() == 21; }));
    EXPECT_GE(std::count(codes.begin(), codes.end(), Code::QueueFull), 17);
    EXPECT_EQ(codes.front(), Code::Done);

    Session second("3.6");
    EXPECT_EQ(second.startup().get().code(), Code::SecondSession);
}

TEST_F(SessionTest, aPhoneThatIsGoneTakesNoRoom) {
    startEmulator();
    Session::Options options;
    options.requests = 1;
    Session session("3.6", options);
    const Phone seven = phone(session);
    bool gone = false;
    seven.onGone([&] { gone = true; });
    mEmulator->type("detach 7");
    ASSERT_TRUE(dispatchUntil(session, [&] { return gone; }));
    mEmulator->signal(SIGSTOP);
    for (int i = 0; i < 3; ++i)
        session.ids();
    EXPECT_EQ(seven.calibrate().get().code(), Code::Gone);
    mEmulator->signal(SIGCONT);
}

TEST_F(SessionTest, movesAreMergedUnlessSomethingLiesBetween) {
    for (const bool merges : {true, false}) {
        startEmulator();
        Session::Options options;
        options.mergeMoves = merges;
        options.longestWait = std::chrono::milliseconds::max();
        Session session("3.6", options);
        Phone seven = phone(session);
        mEmulator->signal(SIGSTOP);
        // This one is under way; the others wait.
        session.ids();
        const auto touch = [&](TouchAction action, unsigned int x, unsigned int id = 0) {
            return seven.touch(action, {{id, x, 0}}, x);
        };
        touch(TouchAction::Down, 1);
        std::vector<Pending<Status>> moves;
        for (const unsigned int x : {2u, 3u, 4u})
            moves.push_back(touch(TouchAction::Move, x));
        touch(TouchAction::Move, 5, /*id=*/1);
        seven.key(Key::Back, Press::Down);
        touch(TouchAction::Move, 6, /*id=*/1);
        touch(TouchAction::Up, 7);
        touch(TouchAction::Move, 8);
        mEmulator->signal(SIGCONT);
        for (const Pending<Status>& move : moves)
            EXPECT_TRUE(move.get());
        EXPECT_TRUE(session.ids().get());
        std::string sent;
        for (unsigned int x = 1; x <= 8; ++x) {
            if (requests(" time=" + std::to_string(x) + " ") == 1) {
                sent += std::to_string(x);
            }
        }
        EXPECT_EQ(sent, merges ? "145678" : "12345678");
    }
}

TEST_F(SessionTest, anOverflowIsALoss) {
    startEmulator();
    Session::Options options;
    options.events = 10;
    Session session("3.6", options);
    int lives = 0;
    int events = 0;
    std::string service;
    session.onService([&](bool there) { service += there ? '+' : '-'; });
    session.onPhone([&](const Phone& phone) {
        ++lives;
        phone.readyForPairing(true);
        phone.onRunningState([&](int) { ++events; });
        phone.onGone([&] { EXPECT_EQ(events, 10); });
    });
    ASSERT_TRUE(dispatchUntil(session, [&] { return lives == 1; }));
    mEmulator->type("wait-for sendOnReadyForPairing@7\nrepeat 30\nstate 7 1\nend");
    // The session's thread deals with it by itself.
    EXPECT_TRUE(testing_support::eventually(
        [&] { return session.versions().get().status.code() == Code::NoService; }));
    ASSERT_TRUE(dispatchUntil(session, [&] { return lives == 2; }));
    EXPECT_EQ(service, "+-+");
}

TEST_F(SessionTest, moreChangesThanCanWaitAreALoss) {
    testing_support::LogCapture log;
    testing_support::Gate gate;
    startEmulator();
    Session session("3.6");
    phone(session);
    std::string service;
    session.onService([&](bool there) { service += there ? '+' : '-'; });
    std::atomic<int> changes{0};
    log.onLine([&](const std::string& text) {
        const auto has = [&](const char* part) { return text.find(part) != std::string::npos; };
        // The session's thread is held until more has come than it can take up later.
        EXPECT_TRUE(!has("etIds] [--IN") || gate.pass());
        if ((has("MV_ATTACHED") || has("MV_DETACHED")) && ++changes == 1100) gate.open();
    });
    session.ids();
    ASSERT_TRUE(gate.isReached());
    mEmulator->type("repeat 600\nattach 9\ndetach 9\nend");
    EXPECT_TRUE(dispatchUntil(session, [&] { return service == "-+"; })) << service;
    log.onLine(nullptr);
}

TEST_F(SessionTest, whatIsHeldGoesWithTheSession) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "2000", 1);
    startEmulator("attach 7\nattach 8");
    std::unique_ptr<Phone> kept;
    std::unique_ptr<Pending<Status>> unsent;
    const auto held = std::make_shared<int>();
    bool late = false;
    auto session = std::make_unique<Session>("3.6");
    session->onPhone([&, held](const Phone& phone) {
        // Its handlers hold the phone itself.
        phone.onRunningState([held, phone](int) {});
        phone.onGone([held, phone] { FAIL(); });
        if (kept == nullptr) {
            kept = std::make_unique<Phone>(phone);
            return;
        }
        EXPECT_TRUE(phone == Phone(phone) && phone != *kept);
        EXPECT_FALSE(phone == *kept || phone != Phone(phone));
        mEmulator->signal(SIGSTOP);
        for (int i = 0; i < 3; ++i)
            phone.key(Key::Back, Press::Down).then([&, held](Status) { late = true; });
        unsent = std::make_unique<Pending<Status>>(phone.calibrate());
        // Inside its own handler.
        session.reset();
        mEmulator->signal(SIGCONT);
        EXPECT_EQ(unsent->get().code(), Code::Refused);
    });
    const int fd = session->fd();
    while (session != nullptr && waitFor(fd))
        session->dispatch();
    EXPECT_EQ(unsent->get().code(), Code::Gone);
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(late);
    EXPECT_EQ(kept->key(Key::Back, Press::Down).get().code(), Code::Gone);
    kept->onRunningState([held](int) {});
    unsent->then([held](Status) {});
    EXPECT_EQ(held.use_count(), 1);

    // There may be another one afterwards.
    Session next("3.6");
    EXPECT_EQ(phone(next).id(), 7u);
}

TEST_F(SessionTest, runEndsByStop) {
    startEmulator();
    Session session("3.6");
    session.onPhone([&](const Phone& phone) {
        phone.calibrate().then([&](Status status) {
            EXPECT_TRUE(status);
            session.stop();
        });
    });
    session.run();
    session.stop();
    session.run();
}

TEST_F(SessionTest, signalsAreNotForTheSessionsThread) {
    startEmulator();
    Session session("3.6");
    EXPECT_TRUE(phone(session).calibrate().get());
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &mine, nullptr);
    // The process would end if any thread took it.
    kill(getpid(), SIGUSR1);
    const timespec patience{60, 0};
    EXPECT_EQ(sigtimedwait(&mine, nullptr, &patience), SIGUSR1);
}

TEST_F(SessionTest, exitNeedsNoFarewell) {
    // A process that has used the library can fork no other that uses it.
    if (!testing_support::inProcessOfItsOwn()) return;
    startEmulator();
    EXPECT_EXIT(
        {
            auto* session = new Session("3.6");
            Phone seven = phone(*session);
            for (int i = 0; i < 100; ++i)
                seven.key(Key::Back, Press::Down).then([](Status) {});
            exit(3);
        },
        testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace session_test

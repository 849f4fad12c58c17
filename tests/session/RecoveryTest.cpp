#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zrmirvo/Session.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/session/Loop.h"
#include "tests/support/Process.h"

// How a session finds a service, and finds it again. Each test needs a process of its own, since
// the version of the service is kept for the life of a process.

namespace session_test {
namespace {

using namespace zrmirvo;
using Code = Status::Code;

TEST_F(SessionTest, settingsAndPhonesComeBackWithTheService) {
    startEmulator("attach 7\nattach 8");
    Session session("3.6");
    std::multiset<unsigned int> there;
    std::string service;
    session.onService([&](bool is) { service += is ? '+' : '-'; });
    session.onPhone([&](const Phone& phone) {
        there.insert(phone.id());
        phone.onGone([&there, phone] { there.erase(there.find(phone.id())); });
    });
    session.configFile("/old");
    const Pending<Status> set = session.configFile("/new");
    session.bluetoothConfig("car", 1);
    session.connect("usb");
    session.connect("wifi");
    const std::multiset<unsigned int> both{7, 8};
    for (int life = 1; life <= 2; ++life) {
        SCOPED_TRACE(life);
        ASSERT_TRUE(dispatchUntil(session, [&] { return there == both; }));
        EXPECT_TRUE(set.get());
        mEmulator->type("attach 9\ndetach 8");
        const std::multiset<unsigned int> other{7, 9};
        ASSERT_TRUE(dispatchUntil(session, [&] { return there == other; }));
        const std::string& output = mEmulator->output();
        EXPECT_EQ(requests("setConfigFile"), 1u);
        EXPECT_LT(output.find("setConfigFile path=\"/new\""), output.find("startup"));
        EXPECT_LT(output.find("setBluetoothConfig text=\"car\" value=1"), output.find("startup"));
        EXPECT_LT(output.find("startup"), output.find("connect arg=\"usb\""));
        EXPECT_EQ(requests("connect arg="), 2u);
        mEmulator->kill();
        ASSERT_TRUE(dispatchUntil(session, [&] { return there.empty(); }));
        startEmulator("attach 7\nattach 8");
    }
    ASSERT_TRUE(dispatchUntil(session, [&] { return there == both; }));
    EXPECT_EQ(service, "+-+-+");
    // What has been disconnected is not connected again, and what was shut down is not started.
    EXPECT_TRUE(session.disconnect("usb").get());
    EXPECT_TRUE(session.shutdown().get());
    startEmulator("attach 7");
    const std::multiset<unsigned int> one{7};
    ASSERT_TRUE(dispatchUntil(session, [&] { return there == one; }));
    EXPECT_TRUE(session.ids().get());
    EXPECT_EQ(requests("startup"), 0u);
    EXPECT_EQ(session.connect("bt").get().code(), Code::Refused);
    EXPECT_TRUE(session.startup().get());
    EXPECT_TRUE(session.ids().get());
    EXPECT_EQ(requests("connect arg=\"usb\""), 0u);
    EXPECT_EQ(requests("connect arg=\"wifi\""), 1u);
    EXPECT_EQ(requests("connect arg=\"bt\""), 1u);
}

TEST_F(SessionTest, aRefusedStartupIsRepeated) {
    startEmulator("once answer startup 5\nonce mistype startup\nattach 7");
    Session session("3.6");
    EXPECT_TRUE(phone(session).calibrate().get());
    // Also one that the application asks for.
    mEmulator->type("once answer startup 5");
    EXPECT_EQ(requests("startup"), 3u);
    EXPECT_EQ(session.startup().get().value(), 5);
    EXPECT_TRUE(testing_support::eventually([&] { return requests("startup") == 5; }));
}

TEST_F(SessionTest, aShutdownBeforeTheStartPreventsItUnlessItIsTooLate) {
    for (const bool late : {false, true}) {
        SCOPED_TRACE(late);
        startEmulator(late ? "once delay getIds 3000\nattach 7" : "attach 7");
        Session::Options options;
        if (late) options.longestWait = std::chrono::seconds(2);
        Session session("3.6", options);
        session.configFile("/kept");
        EXPECT_EQ(session.shutdown().get().code(), late ? Code::TooLate : Code::Done);
        phone(session);
        const size_t starts = late ? 1 : 0;
        EXPECT_TRUE(testing_support::eventually([&] { return requests("startup") == starts; }));
        EXPECT_TRUE(session.startup().get());
        EXPECT_EQ(requests("startup"), starts + 1);
    }
    // Also one that comes while the settings are sent.
    startEmulator("once delay setConfigFile 300\nattach 7");
    Session session("3.6");
    session.configFile("/kept");
    session.dispatch();
    EXPECT_TRUE(mEmulator->waitForLine("setConfigFile path=\"/kept\" -> result=0 delay=300"));
    EXPECT_TRUE(session.shutdown().get());
    EXPECT_EQ(requests("startup"), 0u);
}

TEST_F(SessionTest, aRefusedShutdownStopsNothing) {
    startEmulator("answer shutdown 9\nattach 7");
    Session session("3.6");
    phone(session);
    EXPECT_EQ(session.shutdown().get().value(), 9);
    EXPECT_TRUE(session.connect("usb").get());
}

TEST_F(SessionTest, aPhoneThatIsNotToBeHadAtOnceIsTriedAgain) {
    // The second list is the one after the start.
    for (const char* fault :
         {"once answer getMirvo 5", "once normal getIds\nonce mistype getIds"}) {
        SCOPED_TRACE(fault);
        startEmulator(std::string(fault) + "\nattach 7");
        Session session("3.6");
        EXPECT_EQ(phone(session).id(), 7u);
        EXPECT_EQ(requests("mistype") + requests("result=5"), 1u);
    }
}

// Takes descriptors until there are `left` to be had.
std::vector<int> takeDescriptors(size_t left) {
    std::vector<int> taken;
    for (int fd = dup(0); fd >= 0; fd = dup(0))
        taken.push_back(fd);
    for (; left > 0; --left) {
        close(taken.back());
        taken.pop_back();
    }
    return taken;
}

TEST_F(SessionTest, aPhoneWithoutDescriptorsIsTriedAgain) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself needs descriptors to look at an object's class";
#endif
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few{std::min<rlim_t>(limit.rlim_max, 200), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    startEmulator("");
    Session session("3.6");
    std::unique_ptr<Phone> found;
    bool told = false;
    session.onPhone([&](const Phone& phone) {
        found = std::make_unique<Phone>(phone);
        phone.onRunningState([&](int) { told = true; });
    });
    EXPECT_TRUE(session.ids().get());
    // One is enough for a binding that sends requests, and not for its events.
    for (const size_t left : {0u, 1u}) {
        SCOPED_TRACE(left);
        const std::vector<int> taken = takeDescriptors(left);
        const size_t before = requests("getMirvo");
        mEmulator->type("attach 7");
        EXPECT_TRUE(testing_support::eventually([&] { return requests("getMirvo") > before; }));
        for (const int fd : taken)
            close(fd);
        ASSERT_TRUE(dispatchUntil(session, [&] { return found != nullptr; }));
        EXPECT_TRUE(found->calibrate().get());
        mEmulator->type("state 7 1");
        EXPECT_TRUE(dispatchUntil(session, [&] { return told; }));
        mEmulator->type("detach 7");
        found->onGone([&] { found = nullptr; });
        ASSERT_TRUE(dispatchUntil(session, [&] { return found == nullptr; }));
        told = false;
    }
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(SessionTest, aServiceThatCrashesAtOnceIsStartedEverLessOften) {
    Session::Options options;
    options.firstPause = std::chrono::milliseconds(50);
    options.longestPause = std::chrono::minutes(10);
    startEmulator();
    Session session("3.6", options);
    size_t lives = 0;
    session.onPhone([&](const Phone&) { ++lives; });
    const auto begin = std::chrono::steady_clock::now();
    for (size_t life = 1; life <= 5; ++life) {
        ASSERT_TRUE(dispatchUntil(session, [&] { return lives == life; }));
        startEmulator();
    }
    // The pauses alone; a slow machine only adds to them.
    const auto pauses = std::chrono::milliseconds(50 + 100 + 200 + 400);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, pauses);
}

TEST_F(SessionTest, requestsDoNotWaitForTheNextAttempt) {
    for (const int hours : {1, 0}) {
        Session::Options options;
        options.firstPause = options.longestPause = std::chrono::hours(hours);
        Session session("3.6", options);
        session.dispatch();
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(session.ids().get().status.code(), Code::NoService);
    }
}

TEST_F(SessionTest, anotherVersionIsFinal) {
    // A process keeps the version that it has read first.
    if (!testing_support::inProcessOfItsOwn()) return;
    startEmulator("version 3.7.1");
    Session session("3.6");
    std::vector<ZRMirvoVersion> told;
    session.onVersionMismatch([&](const ZRMirvoVersion& versions) { told.push_back(versions); });
    ASSERT_TRUE(dispatchUntil(session, [&] { return !told.empty(); }));
    EXPECT_EQ(told[0].clientMinor, 6);
    EXPECT_EQ(told[0].serverMinor, 7);
    EXPECT_EQ(session.startup().get().code(), Code::VersionMismatch);
    startEmulator();
    EXPECT_EQ(session.startup().get().code(), Code::VersionMismatch);
    session.dispatch();
    EXPECT_EQ(told.size(), 1u);
}

TEST_F(SessionTest, aVersionThatCannotBeReadIsAskedForAgain) {
    if (!testing_support::inProcessOfItsOwn()) return;
    startEmulator("version x\nattach 7");
    Session session("3.6");
    std::vector<bool> told;
    session.onService([&](bool there) { told.push_back(there); });
    ASSERT_TRUE(dispatchUntil(session, [&] { return !told.empty(); }));
    mEmulator->type("version 3.6.9");
    EXPECT_EQ(phone(session).id(), 7u);
    EXPECT_EQ(told, (std::vector<bool>{false, true}));
}

// The session asks for the version to know why there is no manager.
TEST_F(SessionTest, aVersionThatCanBeReadAtOnceAfterwardsIsNoOther) {
    if (!testing_support::inProcessOfItsOwn()) return;
    startEmulator("version x\non getVersion\nversion 3.6.9\nend\nattach 7");
    Session session("3.6");
    EXPECT_EQ(phone(session).id(), 7u);
}

TEST_F(SessionTest, whoBeginsBeforeTheServiceChecksNoVersion) {
    if (!testing_support::inProcessOfItsOwn()) return;
    Session session("3.6");
    std::vector<bool> told;
    session.onService([&](bool there) { told.push_back(there); });
    ASSERT_TRUE(dispatchUntil(session, [&] { return !told.empty(); }));
    EXPECT_EQ(session.startup().get().code(), Code::NoService);
    EXPECT_EQ(session.versions().get().status.code(), Code::NoService);
    startEmulator("version 3.7.0\nattach 7");
    Phone seven = phone(session);
    EXPECT_EQ(told, (std::vector<bool>{false, true}));
    EXPECT_EQ(session.versions().get().value.serverPatch, 3);
}

}  // namespace
}  // namespace session_test

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "tests/integration/Counter.h"
#include "tests/integration/ServiceTest.h"
#include "tests/support/Signal.h"

namespace integration {
namespace {

using FaultsTest = ServiceTest;

void shortenTimeout() {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "400", 1);
}

// A session, step by step; what a step gives when it succeeds, and the requests that it makes.
struct Step {
    int requests;
    int (*run)(ZRMirvoManager& manager, ZRMirvo*& instance);
};

int pressKey(ZRMirvo* instance) {
    return instance == nullptr ? 1 : instance->sendKeyEvent(4, true);
}

int listIds(ZRMirvoManager& manager) {
    unsigned int ids[10];
    unsigned int count = 0;
    const int result = manager.getIds(ids, &count);
    return result == 0 && count != 2 ? -1 : result;
}

const Step kSession[] = {
    {1, [](auto& m, auto&) { return m.startup(); }},
    {1, [](auto& m, auto&) { return listIds(m); }},
    {1, [](auto& m, auto& i) { return (i = m.GetMirvoInstance(7)) == nullptr ? 1 : 0; }},
    // The second request of the step before, whose result nobody sees, and a first of its own.
    {2, [](auto&, auto& i) { return pressKey(i); }},
    {1, [](auto& m, auto&) { return m.shutdown(); }},
};
constexpr int kRequests = 6;

TEST_F(FaultsTest, aServiceThatDiesAtAnyStepIsObtainedAgain) {
    // The first request is the version's, and is made once in a process.
    startRelay("die", 1);
    EXPECT_EQ(obtainManager()->startup(), 1);

    for (int last = 1; last <= kRequests + 1; ++last) {
        SCOPED_TRACE(last);
        startRelay("die", last);
        Counter counter;
        Manager manager = obtainManager();
        ASSERT_TRUE(manager->RegisterCallback(&counter));
        ZRMirvo* instance = nullptr;
        int requests = 0;
        for (const Step& step : kSession) {
            requests += step.requests;
            EXPECT_EQ(step.run(*manager, instance), requests < last ? 0 : 1) << requests;
        }
        EXPECT_TRUE(last > kRequests || eventually([&] { return counter.errors == 1; }));
        manager.reset();
        EXPECT_EQ(counter.errors, last > kRequests ? 0 : 1);
    }
}

TEST_F(FaultsTest, aSpoiledAnswerFailsOneRequest) {
    shortenTimeout();
    struct {
        const char* fault;
        int result;
        int next;
    } const rows[] = {
        {"truncate", 1, 0},
        {"tear", 1, 1},
        {"twice", 0, 0},
        {"stray", 1, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        // The first time there is the version's request before it.
        startRelay(row.fault, &row == rows ? 2 : 1);
        const Manager manager = obtainManager();
        EXPECT_EQ(manager->startup(), row.result);
        EXPECT_EQ(listIds(*manager), row.next);
        EXPECT_EQ(manager->shutdown(), row.next);
    }
}

TEST_F(FaultsTest, aServiceThatAnswersBadlyFailsOneRequest) {
    shortenTimeout();
    startEmulator();
    Counter counter;
    const Manager manager = obtainManager();
    manager->RegisterCallback(&counter);
    unsigned int id = 10;
    for (const char* command : {"once silent", "once mistype", "once delay"}) {
        SCOPED_TRACE(command);
        const std::string time = std::string(command) == "once delay" ? " 800" : "";
        for (const char* operation : {" startup", " getMirvo"})
            mEmulator->type(command + std::string(operation) + time);
        mEmulator->type("once answer shutdown 5");
        mEmulator->type("attach " + std::to_string(++id));
        ASSERT_TRUE(eventually([&] { return counter.attached == id; }));
        EXPECT_EQ(manager->startup(), 1);
        // The late answer is not taken for this one's.
        EXPECT_EQ(manager->shutdown(), 5);
        EXPECT_EQ(manager->startup(), 0);
        EXPECT_EQ(manager->GetMirvoInstance(7), nullptr);
        EXPECT_NE(manager->GetMirvoInstance(7), nullptr);
    }
}

TEST_F(FaultsTest, aServiceThatHangsBlocksNobodyForLong) {
    shortenTimeout();
    startEmulator();
    Manager manager = obtainManager();
    ZRMirvo* instance = manager->GetMirvoInstance(7);
    ASSERT_NE(instance, nullptr);
    mEmulator->signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(manager->startup(), 1);
    EXPECT_EQ(instance->sendKeyEvent(4, true), 1);
    EXPECT_EQ(manager->GetMirvoInstance(8), nullptr);
    manager->ReleaseMirvoInstance(instance);
    manager.reset();
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(3 * 400));
    // One request would take this long without the shortened timeout.
    EXPECT_LT(taken, std::chrono::seconds(5));

    mEmulator->signal(SIGCONT);
    EXPECT_EQ(obtainManager()->startup(), 0);
}

TEST_F(FaultsTest, aFloodAtASlowCallbackReachesNobodyElse) {
    constexpr int kFlood = 20'000;
    startEmulator();
    testing_support::Signal go;
    Counter slow([&] { EXPECT_TRUE(go.wait()); });
    Counter other;
    const Manager manager = obtainManager();
    ZRMirvo* const flooded = manager->GetMirvoInstance(7);
    ZRMirvo* const quiet = manager->GetMirvoInstance(8);
    ASSERT_TRUE(flooded != nullptr && quiet != nullptr);
    flooded->RegisterCallback(&slow);
    quiet->RegisterCallback(&other);
    manager->RegisterCallback(&other);
    for (const char* line : {"repeat 20000", "state 7 1", "end", "state 8 5", "attach 9"})
        mEmulator->type(line);
    EXPECT_TRUE(eventually([&] { return other.attached == 9u && other.states == 1; }));
    EXPECT_EQ(flooded->sendKeyEvent(4, true), 0);
    EXPECT_EQ(manager->startup(), 0);
    EXPECT_LE(slow.states, 1);
    go.set();
    EXPECT_TRUE(eventually([&] { return slow.states == kFlood; }));
    EXPECT_EQ(other.errors, 0);
}

}  // namespace
}  // namespace integration

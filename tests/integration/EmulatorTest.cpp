#include <gtest/gtest.h>
#include <malloc.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/Process.h"

// The library must survive whatever happens to the service.

namespace integration {
namespace {

using testing_support::entries;
using testing_support::eventually;
using testing_support::Process;
using namespace zrmirvo;

struct Release {
    void operator()(ZRMirvoManager* manager) const { ZRMirvoManager::ReleaseInstance(manager); }
};

// The process's manager. Only one test at a time uses it.
using Manager = std::unique_ptr<ZRMirvoManager, Release>;

// Ends the test when there is no manager.
Manager obtainManager() {
    Manager manager(ZRMirvoManager::GetInstance("3.6"));
    if (manager == nullptr) throw std::runtime_error("no manager");
    return manager;
}

// Counts the events that the tests wait for.
class Counter final : public ZRMirvoManagerCallback {
public:
    std::atomic<int> errors{0};
    std::atomic<unsigned int> attached{0};

    void onError() override { ++errors; }
    void onAttach(unsigned int accessoryId) override { attached = accessoryId; }
    void onDetach(unsigned int) override {}
};

class EmulatorTest : public testing::Test {
protected:
    // Starts it with accessories 7 and 8. Returns when `commands` are done and both are attached.
    void startEmulator(const std::string& commands = "") {
        const std::vector<std::string> command{EMULATOR, "--dir", mFolder.path()};
        mEmulator = nullptr;
        mEmulator = std::make_unique<Process>(command);
        mEmulator->type(commands + "\nattach 7\nattach 8");
        mEmulator->waitForLine("> attach 8");
    }

    // Starts an emulator that dies when this request has arrived, without a reply.
    void startEmulatorThatDiesAt(const std::string& request) {
        startEmulator("delay " + request + " 100000");
        mEmulator->type("arrived " + request + "\ndie");
    }

    static void shortenTimeout() { setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "1500", 1); }

    const testing_support::Folder mFolder;
    std::unique_ptr<Process> mEmulator;
};

// The steps of a session. Each makes one request, and returns 0 when it succeeds.
struct Step {
    const char* request;
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
    {"startup", [](auto& m, auto&) { return m.startup(); }},
    {"getIds", [](auto& m, auto&) { return listIds(m); }},
    {"getMirvo", [](auto& m, auto& i) { return (i = m.GetMirvoInstance(7)) == nullptr ? 1 : 0; }},
    {"sendKeyEvent", [](auto&, auto& i) { return pressKey(i); }},
    {"shutdown", [](auto& m, auto&) { return m.shutdown(); }},
};

TEST_F(EmulatorTest, aServiceThatDiesAtAnyStepIsObtainedAgain) {
    // A process asks for the version once.
    if (!testing_support::inProcessOfItsOwn()) return;
    startEmulatorThatDiesAt("getVersion");
    EXPECT_EQ(obtainManager()->startup(), 1);

    for (const Step& last : kSession) {
        SCOPED_TRACE(last.request);
        startEmulatorThatDiesAt(last.request);
        Counter counter;
        const Manager manager = obtainManager();
        ASSERT_TRUE(manager->RegisterCallback(&counter));
        ZRMirvo* instance = nullptr;
        for (const Step& step : kSession)
            EXPECT_EQ(step.run(*manager, instance), &step < &last ? 0 : 1) << step.request;
        EXPECT_TRUE(eventually([&] { return counter.errors == 1; }));
    }
}

TEST_F(EmulatorTest, aServiceThatAnswersBadlyFailsOneRequest) {
    shortenTimeout();
    startEmulator();
    Counter counter;
    const Manager manager = obtainManager();
    manager->RegisterCallback(&counter);
    unsigned int id = 10;
    for (const char* command : {"once silent", "once mistype", "once delay"}) {
        SCOPED_TRACE(command);
        const std::string time = std::string(command) == "once delay" ? " 3000" : "";
        for (const char* operation : {" startup", " getMirvo"})
            mEmulator->type(command + std::string(operation) + time);
        mEmulator->type("once answer shutdown 5");
        mEmulator->type("attach " + std::to_string(++id));
        ASSERT_TRUE(eventually([&] { return counter.attached == id; }));
        EXPECT_EQ(manager->startup(), 1);
        // The late reply is not taken for the reply to this request.
        EXPECT_EQ(manager->shutdown(), 5);
        EXPECT_EQ(manager->startup(), 0);
        EXPECT_EQ(manager->GetMirvoInstance(7), nullptr);
        EXPECT_NE(manager->GetMirvoInstance(7), nullptr);
    }
}

TEST_F(EmulatorTest, aServiceThatHangsBlocksNobodyForLong) {
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
    EXPECT_GE(taken, 3 * std::chrono::milliseconds(1500));
    // With the timeout that is not shortened, three requests would take this long.
    EXPECT_LT(taken, 3 * std::chrono::seconds(5));

    mEmulator->signal(SIGCONT);
    EXPECT_EQ(obtainManager()->startup(), 0);
}

// What a process can run out of, counted at one moment.
struct Resources {
    explicit Resources(const std::string& pid) : process("/proc/" + pid) {}

    // Whether there is no more of it now. The number of threads that wait for events may differ.
    bool suffice() const {
        return entries(process + "/fd") <= descriptors && entries(process + "/task") <= threads + 2;
    }

    const std::string process;
    const size_t descriptors = entries(process + "/fd");
    const size_t threads = entries(process + "/task");
};

// This is 0 under the sanitizers, which look for leaks themselves.
size_t bytesInUse() {
    return mallinfo2().uordblks;
}

TEST_F(EmulatorTest, aThousandManagersLeaveNothingBehind) {
    startEmulator();
    const auto useOften = [](int times) {
        for (int i = 0; i < times; ++i) {
            Counter counter;
            const Manager manager = obtainManager();
            manager->RegisterCallback(&counter);
            EXPECT_EQ(pressKey(manager->GetMirvoInstance(7)), 0);
        }
    };
    useOften(100);
    const Resources before("self");
    const Resources beforeInService(std::to_string(mEmulator->pid()));
    const size_t bytesBefore = bytesInUse();
    useOften(1000);
    EXPECT_TRUE(eventually([&] { return before.suffice() && beforeInService.suffice(); }));
    // No round has left a byte behind.
    EXPECT_LT(bytesInUse(), bytesBefore + 500 * sizeof(void*));
}

}  // namespace
}  // namespace integration

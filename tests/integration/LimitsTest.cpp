#include <malloc.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/integration/Counter.h"
#include "tests/integration/ServiceTest.h"

namespace integration {
namespace {

// What a process has at one moment, and can run out of.
struct Resources {
    explicit Resources(const std::string& pid) : process("/proc/" + pid) {}

    // No more now. A thread more or less may be waiting for events.
    bool suffice() const {
        return entries(process + "/fd") <= descriptors && entries(process + "/task") <= threads + 2;
    }

    const std::string process;
    const size_t descriptors = entries(process + "/fd");
    const size_t threads = entries(process + "/task");
};

// 0 under the sanitizers, which look for leaks themselves.
size_t bytesInUse() {
    return mallinfo2().uordblks;
}

using LimitsTest = ServiceTest;

TEST_F(LimitsTest, sixtyFourInstancesWorkAtOnce) {
    constexpr unsigned int kInstances = 64;
    constexpr int kRequests = 50;
    startEmulator();
    std::array<Counter, kInstances> counters;
    const Manager manager = obtainManager();
    std::atomic<int> failed{0};
    std::atomic<unsigned int> obtained{0};
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kInstances; ++i) {
        threads.emplace_back([&, i] {
            ZRMirvo* const instance = manager->GetMirvoInstance(7);
            if (instance == nullptr || !instance->RegisterCallback(&counters[i])) ++failed;
            ++obtained;
            if (instance == nullptr) return;
            for (int request = 0; request < kRequests; ++request)
                failed += instance->sendKeyEvent(4, true) + manager->startup();
            if (!eventually([&] { return counters[i].states == 1; })) ++failed;
            manager->ReleaseMirvoInstance(instance);
        });
    }
    EXPECT_TRUE(eventually([&] { return obtained == kInstances; }));
    mEmulator->type("state 7 1");
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
}

TEST_F(LimitsTest, aThousandManagersLeaveNothingBehind) {
    startEmulator();
    const auto useOnce = [&] {
        Counter counter;
        const Manager manager = obtainManager();
        manager->RegisterCallback(&counter);
        ZRMirvo* const instance = manager->GetMirvoInstance(7);
        ASSERT_NE(instance, nullptr);
        instance->RegisterCallback(&counter);
        EXPECT_EQ(instance->sendKeyEvent(4, true), 0);
    };
    constexpr int kWarm = 100;
    constexpr int kTimes = 1000;
    for (int i = 0; i < kWarm; ++i)
        useOnce();
    const Resources before("self");
    const Resources beforeInService(std::to_string(mEmulator->pid()));
    const size_t bytesBefore = bytesInUse();
    for (int i = 0; i < kTimes; ++i)
        useOnce();
    EXPECT_TRUE(eventually([&] { return before.suffice() && beforeInService.suffice(); }));
    // Not a byte for each time.
    EXPECT_LT(bytesInUse(), bytesBefore + kTimes / 2 * sizeof(void*));
}

TEST_F(LimitsTest, withoutDescriptorsEverythingFailsAndNothingBreaks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself opens pipes";
#endif
    startEmulator();
    Manager manager = obtainManager();
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    // From here on no file can be opened.
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(manager->startup(), 0);
    ZRMirvo* const instance = manager->GetMirvoInstance(7);
    const int sent = instance == nullptr ? 1 : instance->sendKeyEvent(4, true);
    manager.reset();
    ZRMirvoManager* const next = ZRMirvoManager::GetInstance("3.6");
    const int started = next == nullptr ? 1 : next->startup();
    ZRMirvo* const second = next == nullptr ? nullptr : next->GetMirvoInstance(7);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(sent, 1);
    EXPECT_EQ(started, 1);
    EXPECT_EQ(second, nullptr);
    if (next != nullptr) ZRMirvoManager::ReleaseInstance(next);

    manager = obtainManager();
    EXPECT_EQ(manager->startup(), 0);
    EXPECT_NE(manager->GetMirvoInstance(7), nullptr);
}

}  // namespace
}  // namespace integration

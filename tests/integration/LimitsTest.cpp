#include <malloc.h>
#include <sys/resource.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

#include "tests/integration/Counter.h"
#include "tests/integration/Processes.h"

namespace integration {
namespace {

using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;

size_t entries(const char* directory) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(directory),
                                             std::filesystem::directory_iterator()));
}

// What a process has, and can run out of.
struct Resources {
    size_t descriptors = entries("/proc/self/fd");
    size_t threads = entries("/proc/self/task");
    // 0 under the sanitizers, which look for leaks themselves.
    size_t bytes = mallinfo2().uordblks;
};

using LimitsTest = ServiceTest;

TEST_F(LimitsTest, sixtyFourInstancesWorkAtOnce) {
    constexpr unsigned int kInstances = 64;
    constexpr int kRequests = 50;
    startEmulator();
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(manager, nullptr);
    std::vector<std::unique_ptr<Counter>> counters;
    for (unsigned int i = 0; i < kInstances; ++i)
        counters.push_back(std::make_unique<Counter>());
    std::atomic<int> failed{0};
    std::atomic<unsigned int> obtained{0};
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kInstances; ++i) {
        threads.emplace_back([&, i] {
            ZRMirvo* const instance = manager->GetMirvoInstance(7);
            if (instance == nullptr || !instance->RegisterCallback(counters[i].get())) ++failed;
            ++obtained;
            if (instance == nullptr) return;
            for (int request = 0; request < kRequests; ++request)
                failed += instance->sendKeyEvent(4, true) + manager->startup();
            if (!eventually([&] { return counters[i]->states == 1; })) ++failed;
            manager->ReleaseMirvoInstance(instance);
        });
    }
    EXPECT_TRUE(eventually([&] { return obtained == kInstances; }));
    mEmulator->tell("state 7 1");
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    ZRMirvoManager::ReleaseInstance(manager);
}

TEST_F(LimitsTest, aThousandManagersLeaveNothingBehind) {
    startEmulator();
    const auto useOnce = [&] {
        ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
        ASSERT_NE(manager, nullptr);
        Counter counter;
        manager->RegisterCallback(&counter);
        ZRMirvo* const instance = manager->GetMirvoInstance(7);
        ASSERT_NE(instance, nullptr);
        instance->RegisterCallback(&counter);
        EXPECT_EQ(instance->sendKeyEvent(4, true), 0);
        ZRMirvoManager::ReleaseInstance(manager);
    };
    constexpr int kWarm = 100;
    constexpr int kTimes = 1000;
    for (int i = 0; i < kWarm; ++i)
        useOnce();
    const Resources before;
    for (int i = 0; i < kTimes; ++i)
        useOnce();
    EXPECT_TRUE(eventually([&] { return Resources().descriptors <= before.descriptors; }));
    // A thread more or less may be waiting for events.
    EXPECT_LE(Resources().threads, before.threads + 2);
    // Not a byte for each time.
    EXPECT_LT(Resources().bytes, before.bytes + kTimes / 2 * sizeof(void*));
}

TEST_F(LimitsTest, withoutDescriptorsEverythingFailsAndNothingBreaks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself opens pipes";
#endif
    startEmulator();
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(manager, nullptr);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    // From here on no file can be opened.
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(manager->startup(), 0);
    ZRMirvo* const instance = manager->GetMirvoInstance(7);
    const int sent = instance == nullptr ? 1 : instance->sendKeyEvent(4, true);
    ZRMirvoManager::ReleaseInstance(manager);
    manager = ZRMirvoManager::GetInstance("3.6");
    const int started = manager == nullptr ? 1 : manager->startup();
    ZRMirvo* const second = manager == nullptr ? nullptr : manager->GetMirvoInstance(7);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(sent, 1);
    EXPECT_EQ(started, 1);
    EXPECT_EQ(second, nullptr);
    if (manager != nullptr) ZRMirvoManager::ReleaseInstance(manager);

    manager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->startup(), 0);
    EXPECT_NE(manager->GetMirvoInstance(7), nullptr);
    ZRMirvoManager::ReleaseInstance(manager);
}

}  // namespace
}  // namespace integration

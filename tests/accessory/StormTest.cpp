#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "accessory/MirvoImpl.h"
#include "tests/accessory/ProxyTest.h"
#include "tests/support/Signal.h"

// Everything at once, for the sanitizers to watch. What can be said in any order of events is
// checked: nothing is left over, and no operation ends in another way than it may.

namespace accessory {
namespace {

using testing_support::LogCapture;
using testing_support::Signal;

// How many notifiers there are, and how often one was called.
std::atomic<int> gNotifiers = 0;
std::atomic<int> gCalls = 0;

template <typename Notifier>
sp<Notifier> counted(FakeFramework& framework) {
    const sp<Notifier> notifier = new Notifier(framework);
    ++gNotifiers;
    notifier->during = [] { ++gCalls; };
    notifier->gone = [] { --gNotifiers; };
    return notifier;
}

// Runs all of them at the same time, to their ends.
void runTogether(const std::vector<std::function<void()>>& works) {
    Signal start;
    std::vector<std::thread> threads;
    for (const auto& work : works) {
        threads.emplace_back([&start, &work] {
            if (start.wait()) work();
        });
    }
    start.set();
    for (std::thread& thread : threads)
        thread.join();
}

std::string answerTo(const std::string& request) {
    if (request.compare(0, 6, "131: 7") == 0) return "130: 2, 11, 12";
    if (request.compare(0, 9, "134: 7, 5") == 0) return "131: 0, 2, {0a 0b}";
    return R"(129: 0, -1, -1L, ".")";
}

TEST(Storm, OverAManager) {
    constexpr int kTimes = 20;
    gCalls = 0;
    for (int round = 0; round < 40; ++round) {
        FakeFramework framework;
        LogCapture log;
        framework.onRequest(answerTo);
        // One reference for each thread that works with the manager; the last one may go on any.
        std::array<sp<MirvoManager>, 4> held;
        held.fill(new MirvoManager);
        held[0]->setNotifier(counted<ManagerNotifier>(framework));
        const auto listener = framework.listener(0);
        // Made here, for it arrives also after the client has gone.
        const auto delivery = [&](const char* message, int times) {
            return [listener, times, notify = framework.notification(0, message)]() mutable {
                for (int i = 0; i < times; ++i)
                    listener->onNotify(notify);
            };
        };
        const auto operate = [&](sp<MirvoManager>& manager) {
            for (int i = 0; i < kTimes; ++i) {
                unsigned int ids[10] = {};
                unsigned int count = 0;
                const int result = manager->getIds(ids, &count);
                EXPECT_EQ(count, result == 0 ? 2 : 0);
                EXPECT_EQ(ids[1], result == 0 ? 12 : 0);
                const sp<Mirvo> handle = manager->getMirvo(7);
                EXPECT_TRUE(handle == nullptr || handle->sendCalibrateEvent() == 0);
            }
            manager.clear();
        };
        runTogether({
            [&] { operate(held[0]); },
            [&] { operate(held[1]); },
            [&] {
                for (int i = 0; i < kTimes; ++i)
                    held[2]->setNotifier(counted<ManagerNotifier>(framework));
                held[2].clear();
            },
            [&] { held[3].clear(); },
            delivery("130: 1, 5", kTimes),
            delivery("130: 2, 5", kTimes),
            delivery("-1: 2", 1),
        });
        EXPECT_EQ(framework.liveClients(), 0u);
        EXPECT_EQ(gNotifiers, 0);
    }
    EXPECT_GT(gCalls, 0);
}

TEST(Storm, OverHandles) {
    gCalls = 0;
    FakeFramework framework;
    LogCapture log;
    framework.onRequest(answerTo);
    std::mutex lock;
    std::array<sp<Mirvo>, 3> handles;
    const auto exchange = [&](size_t index, sp<Mirvo> handle, bool keep) {
        const std::lock_guard guard(lock);
        if (keep) return handles[index % handles.size()];
        std::swap(handles[index % handles.size()], handle);
        return handle;
    };
    std::atomic<size_t> made = 0;
    std::atomic<int> making = 2;
    const auto make = [&] {
        for (int i = 0; i < 200 || (gCalls < 200 && i < 20000); ++i)
            exchange(made++, new MirvoImpl(7), false);
        --making;
    };
    const auto operate = [&] {
        for (size_t i = 0; making > 0; ++i) {
            const sp<Mirvo> handle = exchange(i, nullptr, true);
            if (handle == nullptr) continue;
            EXPECT_EQ(handle->setNotifier(counted<DeviceNotifier>(framework)), 0);
            unsigned char* out = nullptr;
            int length = 0;
            EXPECT_EQ(handle->cookKeyEvent(66, true, &out, &length), 0);
            EXPECT_EQ(length, 2);
            delete[] out;
        }
    };
    const auto deliver = [&] {
        for (size_t i = 0; making > 0; ++i) {
            const size_t newest = made;
            framework.notify(newest - std::min<size_t>(newest, i % 6), "134: 7, 4, 2, {02 01}");
        }
    };
    runTogether({make, make, operate, operate, deliver, deliver});
    handles = {};
    EXPECT_EQ(framework.liveClients(), 0u);
    EXPECT_EQ(gNotifiers, 0);
    EXPECT_GT(gCalls, 0);
}

}  // namespace
}  // namespace accessory

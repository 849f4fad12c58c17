#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

#include "tests/accessory/ProxyTest.h"
#include "tests/support/Task.h"

// Everything at once, for the sanitizers to watch. What can be said in any order of events is
// checked: nothing is left over, and no operation ends in another way than it may.

namespace accessory {
namespace {

using testing_support::LogCapture;
using testing_support::Task;

// How many notifiers there are, and how often one was called.
std::atomic<int> gNotifiers = 0;
std::atomic<int> gCalls = 0;

std::string answerTo(const std::string& request) {
    if (request.compare(0, 6, "131: 7") == 0) return "130: 2, 11, 12";
    if (request.compare(0, 9, "134: 7, 5") == 0) return "131: 0, 2, {0a 0b}";
    return R"(129: 0, -1, -1L, ".")";
}

// A manager may have lost its service.
void operate(MirvoManager& manager) {
    unsigned int ids[10] = {};
    unsigned int count = 0;
    const int result = manager.getIds(ids, &count);
    EXPECT_EQ(count, result == 0 ? 2 : 0);
    EXPECT_EQ(ids[1], result == 0 ? 12 : 0);
}

void operate(Mirvo& handle) {
    unsigned char* out = nullptr;
    int length = 0;
    EXPECT_EQ(handle.cookKeyEvent(66, true, &out, &length), 0);
    EXPECT_EQ(length, 2);
    delete[] out;
}

template <typename Side>
class StormTest : public testing::Test {
protected:
    using Proxy = typename Side::Proxy;
    using Notifier = typename Side::Notifier;

    StormTest() {
        gCalls = 0;
        mFramework.onRequest(answerTo);
    }

    sp<Notifier> notifier() {
        const sp<Notifier> notifier = new Notifier(mFramework);
        ++gNotifiers;
        notifier->during = [] { ++gCalls; };
        notifier->gone = [] { --gNotifiers; };
        return notifier;
    }

    // The last reference to the one before goes here, or on a thread that still works with it.
    void make() {
        for (size_t i = 0; i < 200; ++i) {
            sp<Proxy> proxy = Side::make();
            EXPECT_EQ(proxy->setNotifier(notifier()), 0);
            {
                const std::lock_guard guard(mLock);
                std::swap(mProxies[i % mProxies.size()], proxy);
            }
            // Gives the deliveries a chance.
            const int calls = gCalls;
            for (int n = 0; n < 1000 && gCalls == calls; ++n)
                std::this_thread::yield();
        }
        --mMaking;
    }

    void work() {
        for (size_t i = 0; mMaking > 0; ++i) {
            sp<Proxy> proxy;
            {
                const std::lock_guard guard(mLock);
                proxy = mProxies[i % mProxies.size()];
            }
            if (proxy == nullptr) continue;
            EXPECT_EQ(proxy->setNotifier(notifier()), 0);
            operate(*proxy);
        }
    }

    void deliver(unsigned int seed) {
        std::mt19937 random(seed);
        while (mMaking > 0) {
            const size_t bound = mFramework.allClients();
            const size_t client = bound - std::min<size_t>(bound, 1 + random() % 6);
            const char* const events[] = {"130: 1, 5", "134: 7, 4, 2, {02 01}"};
            mFramework.notify(client, random() % 64 == 0 ? "-1: 2" : events[random() % 2]);
        }
    }

    FakeFramework mFramework;
    LogCapture mLog;
    std::mutex mLock;
    std::array<sp<Proxy>, 3> mProxies;
    std::atomic<int> mMaking = 2;
};

TYPED_TEST_SUITE(StormTest, Sides);

TYPED_TEST(StormTest, isWeathered) {
    {
        Task tasks[] = {Task([&] { this->make(); }),     Task([&] { this->make(); }),
                        Task([&] { this->work(); }),     Task([&] { this->work(); }),
                        Task([&] { this->deliver(1); }), Task([&] { this->deliver(2); })};
    }
    this->mProxies = {};
    EXPECT_EQ(this->mFramework.liveClients(), 0u);
    EXPECT_EQ(gNotifiers, 0);
    EXPECT_GT(gCalls, 20);
}

}  // namespace
}  // namespace accessory

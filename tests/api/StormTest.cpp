#include <atomic>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <thread>
#include <utility>

#include "tests/api/Facade.h"
#include "tests/support/Task.h"

// Everything at once, for the sanitizers to look at.

namespace zrmirvo {
namespace {

using testing_support::Task;

constexpr int kManagers = 200;
constexpr int kRoundsEach = 4;
constexpr int kApplications = 2;

// Keeps the application's only duty: that nobody begins an operation of a manager that has been
// released. Whoever uses the manager holds the lock shared; whoever releases it holds it alone.
// A callback only tries to take it, since it must not wait for a thread that may wait for it.
class StormTest : public FacadeTest, public testing::WithParamInterface<bool> {
protected:
    // Whether callbacks release managers too. What they leave behind may still be running, so the
    // callbacks of that storm live until its end.
    bool releasesInside() const { return GetParam(); }

    void replaceManager() {
        release();
        mManager = ZRMirvoManager::GetInstance("3.6");
    }

    // What a callback does.
    void inside() {
        const int number = ++mCalls;
        thread_local std::mt19937 random(static_cast<unsigned int>(number));
        if (random() % 8 == 0) {
            const std::unique_lock alone(mLock, std::try_to_lock);
            if (alone && releasesInside()) replaceManager();
            return;
        }
        const std::shared_lock use(mLock, std::try_to_lock);
        if (!use || mManager == nullptr) return;
        ZRMirvo* const instance = mManager->GetMirvoInstance(kAccessory);
        if (instance == nullptr) return;
        instance->sendCalibrateEvent();
        if (random() % 2 == 0) mManager->ReleaseMirvoInstance(instance);
    }

    void application(unsigned int seed) {
        std::mt19937 random(seed);
        while (mRounds++ < kManagers * kRoundsEach) {
            // The lock alone would let readers overtake the releaser for ever.
            while (mRounds > mAllowed + kApplications)
                std::this_thread::yield();
            auto callback = std::make_unique<Callback>([this](const std::string&) { inside(); });
            {
                const std::shared_lock use(mLock);
                mManager->RegisterCallback(callback.get());
                ZRMirvo* const instance = mManager->GetMirvoInstance(kAccessory);
                if (instance != nullptr) {
                    instance->RegisterCallback(callback.get());
                    kOperations[random() % kOperations.size()].call(*mManager, *instance);
                    // Gives the deliveries a chance.
                    const int calls = mCalls;
                    for (int i = 0; i < 1000 && mCalls == calls; ++i)
                        std::this_thread::yield();
                    if (random() % 2 == 0) instance->UnregisterCallback(callback.get());
                    mManager->ReleaseMirvoInstance(instance);
                }
                mManager->UnregisterCallback(callback.get());
            }
            if (!releasesInside()) continue;
            const std::lock_guard keep(mKept);
            mCallbacks.push_back(std::move(callback));
        }
    }

    void releaser() {
        while (mAllowed < kManagers * kRoundsEach) {
            while (mRounds < mAllowed)
                std::this_thread::yield();
            const std::unique_lock alone(mLock);
            replaceManager();
            mLog.take();
            mFramework.takeEvents();
            mAllowed += kRoundsEach;
        }
    }

    void deliverer(unsigned int seed) {
        std::mt19937 random(seed);
        while (!mOver) {
            const size_t bound = mFramework.allClients();
            const size_t client = bound - std::min<size_t>(bound, 1 + random() % 10);
            const char* const events[] = {kAttached, kStateChange, kTransportFatal};
            const bool lost = random() % 64 == 0;
            mFramework.notify(client, lost ? kServiceLost : events[random() % std::size(events)]);
        }
    }

    std::shared_mutex mLock;
    std::atomic<bool> mOver{false};
    std::atomic<int> mCalls{0};
    // Begun by the applications, and to be begun before the next manager.
    std::atomic<int> mRounds{0};
    std::atomic<int> mAllowed{0};
    std::mutex mKept;
    std::vector<std::unique_ptr<Callback>> mCallbacks;
};

TEST_P(StormTest, isWeathered) {
    replaceManager();
    {
        Task deliverers[] = {Task([&] { deliverer(1); }), Task([&] { deliverer(2); }),
                             Task([&] { deliverer(3); })};
        {
            Task applications[] = {Task([&] { application(4); }), Task([&] { application(5); }),
                                   Task([&] { releaser(); })};
        }
        mOver = true;
    }
    release();
    EXPECT_EQ(mFramework.liveClients(), 0u);
    EXPECT_GT(mCalls, kManagers / 10);
}

INSTANTIATE_TEST_SUITE_P(Callbacks, StormTest, testing::Bool());

}  // namespace
}  // namespace zrmirvo

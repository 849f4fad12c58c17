#include <atomic>
#include <vector>

#include "tests/api/Facade.h"
#include "tests/support/Task.h"

// Who waits for a delivery that runs on another thread, and who does not.

namespace zrmirvo {
namespace {

using testing_support::Task;

constexpr size_t kOtherClient = kInstanceClient + 1;

// What is being delivered: an event to the callback of the manager or of the instance, or an error
// that makes the library disconnect.
enum class Event { kManagers, kInstances, kError };

// What is done meanwhile. Releases may be repeated.
enum class Act { kUnregister, kReleaseInstance, kReleaseNoInstance, kReleaseManager };

// It is the last act that has to wait for the delivery. Those before are done inside another
// callback or, where they wait themselves, on a thread of their own.
struct Row {
    Event event;
    std::vector<Act> acts;
    bool inCallback = true;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << std::vector{"manager", "instance", "error"}[static_cast<size_t>(row.event)];
    for (const Act act : row.acts)
        *out << std::vector{" u", " i", " n", " m"}[static_cast<size_t>(act)];
    if (!row.inCallback) *out << " elsewhere";
}

class WaitingTest : public FacadeTest, public testing::WithParamInterface<Row> {
protected:
    WaitingTest() {
        obtain();
        mOther = mManager->GetMirvoInstance(kAccessory);
        add(mHeld);
        mFramework.onRequest([this](const std::string& request) {
            if (request == kDisconnectRequest) run();
            return healthyService(request);
        });
    }
    ~WaitingTest() override { mFramework.onRequest(healthyService); }

    void deliverHeld() {
        if (GetParam().event == Event::kError) {
            deliver(kInstanceClient, kTransportFatal);
        } else {
            deliverTo(GetParam().event == Event::kManagers ? kManagerClient : kInstanceClient);
        }
    }

    void before() {
        for (size_t i = 0; i + 1 < GetParam().acts.size(); ++i)
            act(GetParam().acts[i]);
    }
    void last() { act(GetParam().acts.back()); }

    // Runs `work` in a callback of the other instance, on this thread.
    void inCallback(const std::function<void()>& work) {
        Callback callback([&](const std::string&) { work(); });
        mOther->RegisterCallback(&callback);
        deliverTo(kOtherClient);
        if (!mReleased) mOther->UnregisterCallback(&callback);
    }

    Gate mGate;
    std::atomic<bool> mOver{false};
    std::atomic<int> mCalls{0};

private:
    void run() {
        EXPECT_TRUE(mGate.pass());
        EXPECT_FALSE(mOver);
        ++mCalls;
    }

    void act(Act act) {
        switch (act) {
            case Act::kReleaseManager:
                mReleased = true;
                return ZRMirvoManager::ReleaseInstance(mManager);
            case Act::kReleaseInstance:
                return mManager->ReleaseMirvoInstance(mInstance);
            case Act::kReleaseNoInstance:
                return mManager->ReleaseMirvoInstance(nullptr);
            case Act::kUnregister:
                if (GetParam().event == Event::kManagers) mManager->UnregisterCallback(&mHeld);
                if (GetParam().event == Event::kInstances) mInstance->UnregisterCallback(&mHeld);
        }
    }

    Callback mHeld{[this](const std::string&) { run(); }};
    std::atomic<bool> mReleased{false};
    ZRMirvo* mOther = nullptr;
};

TEST_P(WaitingTest, endsAfterTheDeliveryOnAnApplicationThread) {
    Task delivery([&] { deliverHeld(); });
    ASSERT_TRUE(mGate.isReached());
    Task earlier([&] {
        if (GetParam().inCallback) return inCallback([&] { before(); });
        before();
    });
    EXPECT_TRUE(GetParam().inCallback ? earlier.finishes() : earlier.waits());
    Task caller([&] {
        last();
        mOver = true;
    });
    EXPECT_TRUE(caller.waits());
    mGate.open();
    EXPECT_TRUE(caller.finishes() && earlier.finishes());
    EXPECT_EQ(mCalls, 1);
    // Nothing runs again.
    deliverHeld();
    EXPECT_EQ(mCalls, 1);
}

TEST_P(WaitingTest, takesEffectAtOnceInsideACallback) {
    Task delivery([&] { deliverHeld(); });
    ASSERT_TRUE(mGate.isReached());
    Task caller([&] {
        inCallback([&] {
            before();
            last();
        });
    });
    EXPECT_TRUE(caller.finishes());
    EXPECT_EQ(mCalls, 0);
    mGate.open();
    EXPECT_TRUE(delivery.finishes());
    deliverHeld();
    EXPECT_EQ(mCalls, 1);
}

const Row kRows[] = {
    {Event::kManagers, {Act::kUnregister}},
    {Event::kManagers, {Act::kUnregister, Act::kUnregister}},
    {Event::kManagers, {Act::kReleaseManager}},
    {Event::kManagers, {Act::kUnregister, Act::kReleaseManager}},
    {Event::kManagers, {Act::kReleaseManager, Act::kReleaseManager}},
    {Event::kManagers, {Act::kReleaseManager, Act::kReleaseManager}, false},
    {Event::kInstances, {Act::kUnregister}},
    {Event::kInstances, {Act::kUnregister, Act::kUnregister}},
    {Event::kInstances, {Act::kReleaseInstance}},
    {Event::kInstances, {Act::kUnregister, Act::kReleaseInstance}},
    {Event::kInstances, {Act::kReleaseManager}},
    {Event::kInstances, {Act::kReleaseInstance, Act::kReleaseManager}},
    {Event::kInstances, {Act::kReleaseInstance, Act::kReleaseManager}, false},
    {Event::kInstances, {Act::kReleaseInstance, Act::kReleaseNoInstance}},
    {Event::kInstances, {Act::kReleaseInstance, Act::kReleaseManager, Act::kReleaseManager}},
    {Event::kError, {Act::kReleaseInstance}},
    {Event::kError, {Act::kReleaseManager}},
    {Event::kError, {Act::kReleaseInstance, Act::kReleaseNoInstance}},
    {Event::kError, {Act::kReleaseInstance, Act::kReleaseManager}},
    {Event::kError, {Act::kReleaseManager, Act::kReleaseManager}},
};
INSTANTIATE_TEST_SUITE_P(Rows, WaitingTest, testing::ValuesIn(kRows));

}  // namespace
}  // namespace zrmirvo

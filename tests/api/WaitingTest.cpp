#include <atomic>
#include <memory>
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

// Waits that are no row of the table above.
class WaiterTest : public FacadeTest {
protected:
    WaiterTest() { obtain(); }

    Gate mGate;
};

TEST_F(WaiterTest, onlyTheCallThatRunsIsWaitedFor) {
    Gate gates[3];
    std::atomic<size_t> call{0};
    Callback first([&](const std::string&) { EXPECT_TRUE(gates[call++].pass()); });
    Callback second([&](const std::string&) { EXPECT_TRUE(gates[2].pass()); });
    mInstance->RegisterCallback(&first);
    mInstance->RegisterCallback(&second);
    Task delivery([&] { deliverTo(kInstanceClient); });
    ASSERT_TRUE(gates[0].isReached());
    Task caller([&] { mInstance->UnregisterCallback(&first); });
    EXPECT_TRUE(caller.waits());
    // Neither another call of the same callback nor the next callback holds it up.
    mInstance->RegisterCallback(&first);
    mInstance->UnregisterCallback(&second);
    mInstance->RegisterCallback(&second);
    Task another([&] { deliverTo(kInstanceClient); });
    ASSERT_TRUE(gates[1].isReached());
    gates[0].open();
    EXPECT_TRUE(caller.finishes());
    gates[1].open();
    EXPECT_TRUE(gates[2].isReached());
    gates[2].open();
}

TEST_F(WaiterTest, aReleaseWaitsForTheErrorOfAnInstanceThatIsBeingMade) {
    Gate disconnecting;
    std::unique_ptr<Task> error;
    std::unique_ptr<Task> releaser;
    hold("131: 3,", disconnecting);
    mLog.onLine([&](const std::string& line) {
        const bool noted = line.find("Mirvo[c]][setNotifier] [--OUT") != std::string::npos;
        if (!noted || error != nullptr) return;
        const size_t client = mFramework.allClients() - 1;
        error = std::make_unique<Task>([this, client] { deliver(client, kTransportFatal); });
        EXPECT_TRUE(disconnecting.isReached());
        releaser = std::make_unique<Task>([this] { release(); });
        EXPECT_TRUE(releaser->waits());
        disconnecting.open();
        EXPECT_TRUE(releaser->finishes());
    });
    EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr);
    EXPECT_NE(releaser, nullptr);
    mLog.onLine(nullptr);
}

TEST_F(WaiterTest, aRefusedReleaseWaitsForTheOneBeforeIt) {
    ZRMirvoManager* const released = mManager;
    mLog.onLine([&](const std::string& line) {
        const bool destroyed = line.find("~ZRMirvoManagerImpl] [--IN") != std::string::npos;
        EXPECT_TRUE(!destroyed || mGate.pass());
    });
    Task releaser([&] { release(); });
    ASSERT_TRUE(mGate.isReached());
    Task refused([&] { ZRMirvoManager::ReleaseInstance(released); });
    EXPECT_TRUE(refused.waits());
    mGate.open();
    EXPECT_TRUE(releaser.finishes() && refused.finishes());
    mLog.onLine(nullptr);
}

// The one that waits came before the second manager was released.
TEST_F(WaiterTest, aRefusedReleaseDoesNotWaitForLaterReleases) {
    ZRMirvoManager* const first = mManager;
    Gate gates[2];
    std::atomic<size_t> call{0};
    Callback staying([&](const std::string&) {
        const size_t number = call++;
        release();
        EXPECT_TRUE(gates[number].pass());
    });
    mManager->RegisterCallback(&staying);
    Task delivery([&] { deliverTo(kManagerClient); });
    ASSERT_TRUE(gates[0].isReached());
    Task refused([&] { ZRMirvoManager::ReleaseInstance(first); });
    EXPECT_TRUE(refused.waits());

    const size_t client = mFramework.allClients();
    mManager = ZRMirvoManager::GetInstance("3.6");
    mManager->RegisterCallback(&staying);
    Task another([&] { deliver(client, kAttached); });
    ASSERT_TRUE(gates[1].isReached());
    gates[0].open();
    EXPECT_TRUE(refused.finishes());
    gates[1].open();
}

}  // namespace
}  // namespace zrmirvo

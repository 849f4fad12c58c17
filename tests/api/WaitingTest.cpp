#include <atomic>

#include "tests/api/Facade.h"
#include "tests/support/Signal.h"
#include "tests/support/Task.h"

// Who waits for a callback that runs on another thread, and who does not.

namespace zrmirvo {
namespace {

using testing_support::Signal;
using testing_support::Task;

constexpr size_t kOtherClient = kInstanceClient + 1;

// What the calls below are about: callbacks that are held inside, and look afterwards whether
// somebody should have waited for them.
struct Held {
    Call hold() {
        return [this](const std::string&) {
            runs.set();
            EXPECT_TRUE(go.wait());
            EXPECT_FALSE(over);
            ++calls;
        };
    }

    ZRMirvoManager* manager = nullptr;
    ZRMirvo* instance = nullptr;
    Signal runs;
    Signal go;
    std::atomic<bool> over{false};
    std::atomic<int> calls{0};
    ManagerCallback managers{hold()};
    DeviceCallback devices{hold()};
};

struct Row {
    const char* name;
    // Whose callback runs.
    size_t client;
    // Done before, inside a callback.
    void (*before)(Held& held);
    void (*call)(Held& held);
};

void nothing(Held&) {}
void unregisterFromManager(Held& held) {
    held.manager->UnregisterCallback(&held.managers);
}
void unregisterFromInstance(Held& held) {
    held.instance->UnregisterCallback(&held.devices);
}
void releaseInstance(Held& held) {
    held.manager->ReleaseMirvoInstance(held.instance);
}
void releaseManager(Held& held) {
    ZRMirvoManager::ReleaseInstance(held.manager);
}

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class WaitingTest : public FacadeTest, public testing::WithParamInterface<Row> {
protected:
    WaitingTest() {
        obtain();
        mOther = mManager->GetMirvoInstance(kAccessory);
        mHeld.manager = mManager;
        mHeld.instance = mInstance;
        mManager->RegisterCallback(&mHeld.managers);
        mInstance->RegisterCallback(&mHeld.devices);
    }
    ~WaitingTest() override {
        if (GetParam().call == releaseManager) mManager = nullptr;
    }

    void deliverTo(size_t client) {
        deliver(client, client == kManagerClient ? kAttached : kStateChange);
    }
    // Runs `work` in a callback of the other instance, on this thread.
    void inCallback(const std::function<void()>& work) {
        DeviceCallback callback([&](const std::string&) { work(); });
        mOther->RegisterCallback(&callback);
        deliverTo(kOtherClient);
        if (!mReleased) mOther->UnregisterCallback(&callback);
    }

    Held mHeld;
    ZRMirvo* mOther = nullptr;
    bool mReleased = false;
};

TEST_P(WaitingTest, endsAfterTheCallbackOnAnApplicationThread) {
    Task delivery([&] { deliverTo(GetParam().client); });
    ASSERT_TRUE(mHeld.runs.wait());
    inCallback([&] { GetParam().before(mHeld); });
    Task caller([&] {
        GetParam().call(mHeld);
        mHeld.over = true;
    });
    EXPECT_TRUE(caller.waits());
    mHeld.go.set();
    EXPECT_TRUE(caller.finishes());
    EXPECT_EQ(mHeld.calls, 1);
    // And is not called again.
    deliverTo(GetParam().client);
    EXPECT_EQ(mHeld.calls, 1);
}

TEST_P(WaitingTest, takesEffectAtOnceInsideACallback) {
    Task delivery([&] { deliverTo(GetParam().client); });
    ASSERT_TRUE(mHeld.runs.wait());
    Task caller([&] {
        inCallback([&] {
            GetParam().before(mHeld);
            GetParam().call(mHeld);
            mReleased = GetParam().call == releaseManager;
        });
    });
    EXPECT_TRUE(caller.finishes());
    EXPECT_EQ(mHeld.calls, 0);
    mHeld.go.set();
    EXPECT_TRUE(delivery.finishes());
    deliverTo(GetParam().client);
    EXPECT_EQ(mHeld.calls, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, WaitingTest,
    testing::Values(
        Row{"manager's callback unregistered", kManagerClient, nothing, unregisterFromManager},
        Row{"unregistered again", kManagerClient, unregisterFromManager, unregisterFromManager},
        Row{"manager released", kManagerClient, nothing, releaseManager},
        Row{"unregistered, manager released", kManagerClient, unregisterFromManager,
            releaseManager},
        Row{"instance's callback unregistered", kInstanceClient, nothing, unregisterFromInstance},
        Row{"instance's unregistered again", kInstanceClient, unregisterFromInstance,
            unregisterFromInstance},
        Row{"instance released", kInstanceClient, nothing, releaseInstance},
        Row{"instance unregistered and released", kInstanceClient, unregisterFromInstance,
            releaseInstance},
        Row{"manager of the instance released", kInstanceClient, nothing, releaseManager},
        Row{"instance released, then its manager", kInstanceClient, releaseInstance,
            releaseManager}));

}  // namespace
}  // namespace zrmirvo

#include <atomic>

#include "tests/api/Facade.h"
#include "tests/support/Task.h"

// Who waits for a callback that runs on another thread, and who does not.

namespace zrmirvo {
namespace {

using testing_support::Task;

constexpr size_t kOtherClient = kInstanceClient + 1;

// Whose callback runs, the manager's or the instance's, and what is done meanwhile: "u" unregisters
// the callback, "i" releases the instance, "m" the manager. It is the last of them that has to
// wait; those before are done inside another callback.
using Row = std::pair<std::string, std::string>;

class WaitingTest : public FacadeTest, public testing::WithParamInterface<Row> {
protected:
    WaitingTest() {
        obtain();
        mOther = mManager->GetMirvoInstance(kAccessory);
        add(mHeld);
    }

    bool deliverHeld() { return deliverTo(ofManager() ? kManagerClient : kInstanceClient); }

    void before() {
        for (size_t i = 0; i + 1 < GetParam().second.size(); ++i)
            act(GetParam().second[i]);
    }
    void last() { act(GetParam().second.back()); }

    // Runs `work` in a callback of the other instance, on this thread.
    void inCallback(const std::function<void()>& work) {
        Callback callback([&](const std::string&) { work(); });
        mOther->RegisterCallback(&callback);
        deliverTo(kOtherClient);
        if (mManager != nullptr) mOther->UnregisterCallback(&callback);
    }

    Gate mGate;
    std::atomic<bool> mOver{false};
    std::atomic<int> mCalls{0};

private:
    bool ofManager() const { return GetParam().first == "manager"; }

    void act(char action) {
        if (action == 'm') return release();
        if (action == 'i') return releaseInstance();
        if (ofManager()) return mManager->UnregisterCallback(&mHeld);
        mInstance->UnregisterCallback(&mHeld);
    }

    Callback mHeld{[this](const std::string&) {
        EXPECT_TRUE(mGate.pass());
        EXPECT_FALSE(mOver);
        ++mCalls;
    }};
    ZRMirvo* mOther = nullptr;
};

TEST_P(WaitingTest, endsAfterTheCallbackOnAnApplicationThread) {
    Task delivery([&] { deliverHeld(); });
    ASSERT_TRUE(mGate.isReached());
    inCallback([&] { before(); });
    Task caller([&] {
        last();
        mOver = true;
    });
    EXPECT_TRUE(caller.waits());
    mGate.open();
    EXPECT_TRUE(caller.finishes());
    EXPECT_EQ(mCalls, 1);
    // And is not called again.
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

INSTANTIATE_TEST_SUITE_P(Calls, WaitingTest,
                         testing::Values(Row{"manager", "u"}, Row{"manager", "uu"},
                                         Row{"manager", "m"}, Row{"manager", "um"},
                                         Row{"instance", "u"}, Row{"instance", "uu"},
                                         Row{"instance", "i"}, Row{"instance", "ui"},
                                         Row{"instance", "m"}, Row{"instance", "im"}));

}  // namespace
}  // namespace zrmirvo

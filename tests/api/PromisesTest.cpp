#include <algorithm>
#include <atomic>

#include "tests/api/Facade.h"
#include "tests/support/Task.h"

// What the public headers promise about threads and lifetimes, besides who waits for whom.

namespace zrmirvo {
namespace {

using testing_support::Task;

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

class PromisesTest : public FacadeTest {
protected:
    PromisesTest() { obtain(); }

    bool isDestroyed() {
        const Lines all = mLog.take("ZRMirvo");
        const auto end = traced("ZRMirvo", "~ZRMirvoManagerImpl").back();
        return std::count(all.begin(), all.end(), end) == 1;
    }

    void expectNoDisconnect() {
        const Lines requests = mFramework.requests();
        EXPECT_EQ(std::count(requests.begin(), requests.end(), kDisconnectRequest), 0);
    }

    void expectAllToWork() {
        for (const Operation& operation : kOperations)
            EXPECT_EQ(operation.call(*mManager, *mInstance), 0) << operation.name;
        EXPECT_EQ(ZRMirvoManager::GetInstance("3.6"), mManager);
        EXPECT_EQ(ZRMirvoManager::getVersion().serverPatch, 1);
    }

    Gate mGate;
};

TEST_F(PromisesTest, everyOperationWorksInsideEveryCallback) {
    int calls = 0;
    Callback extra([](const std::string&) {});
    Callback everything([&](const std::string& event) {
        SCOPED_TRACE(event);
        ++calls;
        expectAllToWork();
        ZRMirvo* instance = mManager->GetMirvoInstance(8);
        ASSERT_NE(instance, nullptr);
        EXPECT_TRUE(instance->RegisterCallback(&extra));
        mManager->ReleaseMirvoInstance(instance);
    });
    add(everything);
    deliverTo(kManagerClient);
    deliverTo(kInstanceClient);
    EXPECT_EQ(calls, 2);
}

TEST_F(PromisesTest, operationsUnderWayEndNormally) {
    for (const bool managers : {true, false}) {
        for (const Operation& operation : kOperations) {
            if (operation.ofManager() && !managers) continue;
            SCOPED_TRACE(operation.name);
            obtain();
            const size_t clients = mFramework.liveClients();
            Gate gate;
            hold("", gate);
            Task task([&] { EXPECT_EQ(operation.call(*mManager, *mInstance), 0); });
            ASSERT_TRUE(gate.isReached());
            if (managers) release();
            if (!managers) releaseInstance();
            EXPECT_EQ(mFramework.liveClients(), managers ? 1 : clients);
            gate.open();
            ASSERT_TRUE(task.finishes());
            EXPECT_EQ(mFramework.liveClients(), managers ? 0 : clients - 1);
        }
    }
}

TEST_F(PromisesTest, anInstanceThatComesTooLateIsNullAndItsErrorsOnlyLog) {
    const std::string kTooLate = "W/ZRMirvo: GetMirvoInstance can't find mirvo";
    const std::string kFatal = "E/ZRMirvo: [errorEvent:LINE] MV_ERROR_CODE_TRANSPORT_FATAL!\n";
    struct {
        std::string step;
        size_t clientsMeanwhile;
        Lines lines;
    } const rows[] = {
        {"131: 6,", 1, {kTooLate}},
        {"134: 7, 1,", 2, {kTooLate, kFatal}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.step);
        obtain();
        Gate gate;
        hold(row.step, gate);
        Task task([&] { EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr); });
        ASSERT_TRUE(gate.isReached());
        release();
        // Only what the call under way uses is still there.
        EXPECT_EQ(mFramework.liveClients(), row.clientsMeanwhile);
        lines();
        mLog.onLine([&](const std::string& line) {
            const bool last = contains(line, "~MirvoImpl] [--IN");
            EXPECT_TRUE(!last || deliver(mFramework.allClients() - 1, kTransportFatal));
        });
        gate.open();
        ASSERT_TRUE(task.finishes());
        mLog.onLine(nullptr);
        EXPECT_EQ(mFramework.liveClients(), 0u);
        EXPECT_EQ(lines(), row.lines);
        expectNoDisconnect();
    }
}

TEST_F(PromisesTest, nothingIsHeldUpByWhatWaits) {
    ZRMirvo* const other = mManager->GetMirvoInstance(8);
    hold("131: 1,", mGate);
    Signal inside, leave;
    Callback staying([&](const std::string&) {
        inside.set();
        EXPECT_TRUE(leave.wait());
    });
    add(staying);
    Task request([&] { mManager->startup(); });
    Task device([&] { deliverTo(kInstanceClient); });
    ASSERT_TRUE(mGate.isReached() && inside.wait());
    Task manager([&] { deliverTo(kManagerClient); });
    Task waiter([&] { mInstance->UnregisterCallback(&staying); });
    EXPECT_TRUE(waiter.waits() && manager.waits());

    int calls = 0;
    Callback counting([&](const std::string&) { ++calls; });
    add(counting);
    EXPECT_TRUE(other->RegisterCallback(&counting));
    expectAllToWork();
    deliverTo(kInstanceClient);
    deliver(kInstanceClient + 1, R"(133: 8, 1, 3, -1, -1L, ".", 2)");
    EXPECT_EQ(calls, 2);
    mManager->UnregisterCallback(&counting);
    for (ZRMirvo* instance : {mInstance, other})
        instance->UnregisterCallback(&counting);
    mManager->ReleaseMirvoInstance(other);
    leave.set();
    mGate.open();
}

// Where a line is logged, and so in every place where something goes, no lock is held: whoever
// comes back into the library from there does not wait for himself.
TEST_F(PromisesTest, noLockIsHeldWhereAnythingHappens) {
    Callback callback([](const std::string&) {});
    ZRMirvoManager* const manager = mManager;
    ZRMirvo* const instance = mInstance;
    int lines = 0;
    bool released = false;
    mLog.onLine([&](const std::string& line) {
        ++lines;
        released = released || contains(line, "~ZRMirvoManagerImpl");
        if (!released) {
            manager->UnregisterCallback(&callback);
            manager->ReleaseMirvoInstance(nullptr);
            instance->UnregisterCallback(&callback);
        }
        ZRMirvoManager::ReleaseInstance(kForeign);
        ZRMirvoManager::getVersion();
    });
    ZRMirvo* const other = manager->GetMirvoInstance(8);
    for (const char* notify : {kAttached, kServiceLost})
        deliver(kManagerClient, notify);
    for (const char* notify : {kStateChange, kTransportFatal})
        deliver(kInstanceClient, notify);
    add(callback);
    manager->ReleaseMirvoInstance(other);
    release();
    EXPECT_TRUE(released);
    EXPECT_GT(lines, 40);
}

TEST_F(PromisesTest, aCallbackReleasesItsInstanceAndTheManager) {
    int calls = 0;
    Callback releasing([&](const std::string&) {
        ++calls;
        releaseInstance();
    });
    Callback next([&](const std::string&) { ++calls; });
    mInstance->RegisterCallback(&releasing);
    mInstance->RegisterCallback(&next);
    deliverTo(kInstanceClient);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(mFramework.liveClients(), 1u);

    Callback renewing([&](const std::string& event) {
        ++calls;
        EXPECT_EQ(event, "onError");
        release();
        EXPECT_TRUE(isDestroyed());
        mManager = ZRMirvoManager::GetInstance("3.6");
        EXPECT_TRUE(mManager->RegisterCallback(&renewing));
    });
    mManager->RegisterCallback(&renewing);
    deliver(kManagerClient, kServiceLost);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    EXPECT_EQ(mManager->startup(), 0);
}

TEST_F(PromisesTest, aReleaseTakesTheManagerOutFirst) {
    ZRMirvoManager* const old = mManager;
    ZRMirvo* const instance = mInstance;
    Callback callback([&](const std::string&) {
        EXPECT_TRUE(mGate.pass());
        mManager = ZRMirvoManager::GetInstance("3.6");
        EXPECT_NE(mManager, old);
        EXPECT_EQ(old->GetMirvoInstance(kAccessory), nullptr);
        EXPECT_FALSE(old->RegisterCallback(&callback));
        EXPECT_FALSE(instance->RegisterCallback(&callback));
        mLog.take();
        deliver(kInstanceClient, kTransportFatal);
        EXPECT_EQ(lines().size(), 1u);
        ZRMirvoManager::ReleaseInstance(old);
        EXPECT_EQ(lines(), Lines{"E/ZRMirvo: violated: pImpl != NULL\n"});
        EXPECT_EQ(old->startup(), 0);
    });
    old->RegisterCallback(&callback);
    Task delivery([&] { deliverTo(kManagerClient); });
    ASSERT_TRUE(mGate.isReached());
    mFramework.takeEvents();
    Task releaser([&] { release(); });
    EXPECT_TRUE(releaser.waits());
    mGate.open();
    EXPECT_TRUE(releaser.finishes());
    expectNoDisconnect();
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mManager->startup(), 0);
}

TEST_F(PromisesTest, aDeviceErrorUnderWayDoesNotHoldTheManager) {
    hold("131: 3,", mGate);
    Callback callback([&](const std::string&) { release(); });
    mManager->RegisterCallback(&callback);
    Task error([&] { deliver(kInstanceClient, kTransportFatal); });
    ASSERT_TRUE(mGate.isReached());
    deliver(kManagerClient, kServiceLost);
    EXPECT_TRUE(isDestroyed());
    mGate.open();
    EXPECT_TRUE(error.finishes());
    EXPECT_EQ(mFramework.liveClients(), 0u);
}

TEST_F(PromisesTest, errorsOfWhatIsReleasedOnlyLog) {
    for (const bool managers : {false, true}) {
        obtain();
        int errors = 0;
        // The hold is taken after the line, so this is the last moment.
        mLog.onLine([&](const std::string& line) {
            if (!contains(line, "TRANSPORT_FATAL")) return;
            ++errors;
            if (managers) release();
            if (!managers) releaseInstance();
        });
        deliver(managers ? kInstanceClient + 1 : kInstanceClient, kTransportFatal);
        mLog.onLine(nullptr);
        EXPECT_EQ(errors, 1);
        EXPECT_EQ(mFramework.requests(), Lines{});
    }
}

}  // namespace
}  // namespace zrmirvo

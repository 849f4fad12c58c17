#include <android/log.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/api/Facade.h"
#include "tests/support/Signal.h"
#include "tests/support/Task.h"

// What the public headers promise about threads and lifetimes, besides who waits for whom.

namespace zrmirvo {
namespace {

using testing_support::Signal;
using testing_support::Task;

bool isDestroyed(testing_support::LogCapture& log) {
    const Lines all = log.take("ZRMirvo");
    return std::count(all.begin(), all.end(),
                      "D/ZRMirvo: [ZRMirvo][~ZRMirvoManagerImpl] [--OUT--]") == 1;
}

// Where a line is logged, and so in every place where something goes, no lock is held: whoever
// comes back into the library from there does not wait for himself.
std::function<void(const char* line)> gOnLine;
void logger(const __android_logger_data*, const char* line) {
    static thread_local bool inside = false;
    if (std::exchange(inside, true)) return;
    gOnLine(line);
    inside = false;
}

class PromisesTest : public FacadeTest {
protected:
    // Answers as a healthy service does, but holds the first request that begins with `start`.
    void hold(const std::string& start) {
        mFramework.onRequest([this, start](const std::string& request) {
            if (request.rfind(start, 0) == 0 && !mAsked.exchange(true)) {
                mRuns.set();
                EXPECT_TRUE(mGo.wait());
            }
            return healthyService(request);
        });
    }

    std::atomic<bool> mAsked{false};
    Signal mRuns;
    Signal mGo;
};

TEST_F(PromisesTest, everyOperationWorksInsideEveryCallback) {
    obtain();
    int calls = 0;
    DeviceCallback extra([](const std::string&) {});
    const Call everything = [&](const std::string& event) {
        ++calls;
        for (const Operation& operation : kOperations)
            EXPECT_EQ(operation.call(*mManager, *mInstance), 0) << event << operation.name;
        ZRMirvo* instance = mManager->GetMirvoInstance(8);
        ASSERT_NE(instance, nullptr);
        EXPECT_TRUE(instance->RegisterCallback(&extra));
        mManager->ReleaseMirvoInstance(instance);
        EXPECT_EQ(ZRMirvoManager::GetInstance("3.6"), mManager);
        EXPECT_EQ(ZRMirvoManager::getVersion().serverPatch, 1);
    };
    ManagerCallback managers(everything);
    DeviceCallback devices(everything);
    mManager->RegisterCallback(&managers);
    mInstance->RegisterCallback(&devices);
    deliver(kManagerClient, kAttached);
    deliver(kInstanceClient, kStateChange);
    EXPECT_EQ(calls, 2);
    release();
}

TEST_F(PromisesTest, notificationsAfterTheirOwnerDoNothing) {
    obtain();
    for (const size_t client : {kInstanceClient, kManagerClient}) {
        const bool managers = client == kManagerClient;
        const auto listener = mFramework.listener(client);
        auto event = mFramework.notification(client, managers ? kAttached : kStateChange);
        if (!managers) mManager->ReleaseMirvoInstance(mInstance);
        if (managers) release();
        const std::string tag = managers ? "MirvoManager[c]" : "Mirvo[c]";
        const std::string trace = "D/" + tag + ": [" + tag + "][onNotify] ";
        mLog.take();
        listener->onNotify(event);
        EXPECT_EQ(mLog.take(), (Lines{trace + "[--IN--]", trace + "[--OUT--]"}));
    }
}

TEST_F(PromisesTest, operationsUnderWayEndNormally) {
    for (const bool managers : {true, false}) {
        for (const Operation& operation : kOperations) {
            // The manager's operations do not belong to the instance.
            const bool ofManager = std::string(operation.request).rfind("131", 0) == 0;
            if (ofManager && !managers) continue;
            SCOPED_TRACE(operation.name);
            if (mManager == nullptr) obtain();
            if (mInstance == nullptr) mInstance = mManager->GetMirvoInstance(kAccessory);
            const size_t clients = mFramework.liveClients();
            Signal runs, go;
            mFramework.onRequest([&](const std::string& request) {
                runs.set();
                EXPECT_TRUE(go.wait());
                return healthyService(request);
            });
            Task task([&] { EXPECT_EQ(operation.call(*mManager, *mInstance), 0); });
            ASSERT_TRUE(runs.wait());
            mFramework.onRequest(healthyService);
            ZRMirvoManager* const manager = mManager;
            ZRMirvo* const instance = mInstance;
            if (managers) ZRMirvoManager::ReleaseInstance(manager);
            if (!managers) manager->ReleaseMirvoInstance(instance);
            EXPECT_EQ(mFramework.liveClients(), managers ? 1 : clients);
            go.set();
            ASSERT_TRUE(task.finishes());
            EXPECT_EQ(mFramework.liveClients(), managers ? 0 : clients - 1);
            if (managers) mManager = nullptr;
            mInstance = nullptr;
        }
    }
}

TEST_F(PromisesTest, anInstanceThatComesTooLateIsNull) {
    for (const char* step : {"131: 6,", "134: 7, 1,"}) {
        mFramework.onRequest(healthyService);
        obtain();
        const size_t clients = mFramework.liveClients();
        Signal runs, go;
        mFramework.onRequest([&](const std::string& request) {
            if (request.rfind(step, 0) == 0) {
                runs.set();
                EXPECT_TRUE(go.wait());
            }
            return healthyService(request);
        });
        mLog.take();
        Task task([&] { EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr); });
        ASSERT_TRUE(runs.wait());
        ZRMirvoManager::ReleaseInstance(mManager);
        // The instances that there are do not wait for the one to come.
        EXPECT_EQ(mFramework.liveClients(), clients - (step[2] == '1' ? 1 : 0)) << step;
        go.set();
        ASSERT_TRUE(task.finishes());
        mManager = nullptr;
        EXPECT_EQ(mFramework.liveClients(), 0u) << step;
        EXPECT_EQ(lines(), Lines{"W/ZRMirvo: GetMirvoInstance can't find mirvo"});
    }
}

TEST_F(PromisesTest, anErrorOfAnInstanceThatComesTooLateOnlyLogs) {
    obtain();
    hold("134: 7, 1,");
    Task task([&] { EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr); });
    ASSERT_TRUE(mRuns.wait());
    ZRMirvoManager::ReleaseInstance(mManager);
    std::atomic<int> errors{0};
    gOnLine = [&](const char* line) {
        const bool last = std::string(line).find("~MirvoImpl] [--IN") != std::string::npos;
        if (last && deliver(kInstanceClient + 1, kTransportFatal)) ++errors;
    };
    __android_log_set_logger(logger);
    mGo.set();
    ASSERT_TRUE(task.finishes());
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    mManager = nullptr;
    EXPECT_EQ(errors, 1);
    const Lines requests = mFramework.requests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), kDisconnectRequest), 0);
}

TEST_F(PromisesTest, onlyTheCallThatRunsIsWaitedFor) {
    obtain();
    Signal runs[3], go[3];
    std::atomic<int> call{0};
    const auto stay = [&](int number) {
        runs[number].set();
        EXPECT_TRUE(go[number].wait());
    };
    DeviceCallback first([&](const std::string&) { stay(call++); });
    DeviceCallback second([&](const std::string&) { stay(2); });
    mInstance->RegisterCallback(&first);
    mInstance->RegisterCallback(&second);
    {
        Task delivery([&] { deliver(kInstanceClient, kStateChange); });
        ASSERT_TRUE(runs[0].wait());
        Task caller([&] { mInstance->UnregisterCallback(&first); });
        EXPECT_TRUE(caller.waits());
        // Neither another call of the same callback nor the next callback holds it up.
        mInstance->RegisterCallback(&first);
        mInstance->UnregisterCallback(&second);
        mInstance->RegisterCallback(&second);
        Task another([&] { deliver(kInstanceClient, kStateChange); });
        ASSERT_TRUE(runs[1].wait());
        go[0].set();
        EXPECT_TRUE(caller.finishes());
        go[1].set();
        EXPECT_TRUE(runs[2].wait());
        go[2].set();
    }
    release();
}

TEST_F(PromisesTest, nothingIsHeldUpByWhatWaits) {
    obtain();
    ZRMirvo* const other = mManager->GetMirvoInstance(8);
    hold("131: 1,");
    Signal inside, leave;
    const Call stay = [&](const std::string&) {
        inside.set();
        EXPECT_TRUE(leave.wait());
    };
    ManagerCallback managers(stay);
    DeviceCallback devices(stay);
    mManager->RegisterCallback(&managers);
    mInstance->RegisterCallback(&devices);
    {
        Task request([&] { mManager->startup(); });
        Task device([&] { deliver(kInstanceClient, kStateChange); });
        ASSERT_TRUE(mRuns.wait() && inside.wait());
        Task manager([&] { deliver(kManagerClient, kAttached); });
        Task waiter([&] { mInstance->UnregisterCallback(&devices); });
        EXPECT_TRUE(waiter.waits() && manager.waits());

        int calls = 0;
        ManagerCallback m([&](const std::string&) { ++calls; });
        DeviceCallback d([&](const std::string&) { ++calls; });
        for (ZRMirvo* instance : {mInstance, other})
            EXPECT_TRUE(instance->RegisterCallback(&d));
        EXPECT_TRUE(mManager->RegisterCallback(&m));
        for (const Operation& operation : kOperations)
            EXPECT_EQ(operation.call(*mManager, *mInstance), 0);
        deliver(kInstanceClient, kStateChange);
        deliver(kInstanceClient + 1, "133: 8, 1, 3, -1, -1L, \".\", 2");
        EXPECT_EQ(calls, 2);
        mManager->UnregisterCallback(&m);
        for (ZRMirvo* instance : {mInstance, other})
            instance->UnregisterCallback(&d);
        mManager->ReleaseMirvoInstance(other);
        EXPECT_EQ(ZRMirvoManager::GetInstance("3.6"), mManager);
        leave.set();
        mGo.set();
    }
    release();
}

TEST_F(PromisesTest, noLockIsHeldWhereAnythingHappens) {
    obtain();
    ManagerCallback managers([](const std::string&) {});
    DeviceCallback devices([](const std::string&) {});
    ZRMirvo* const other = mManager->GetMirvoInstance(8);
    int lines = 0;
    bool released = false;
    gOnLine = [&](const char* line) {
        ++lines;
        released = released || std::string(line).find("~ZRMirvoManagerImpl") != std::string::npos;
        if (!released) {
            mManager->UnregisterCallback(&managers);
            mManager->ReleaseMirvoInstance(nullptr);
            mInstance->UnregisterCallback(&devices);
        }
        ZRMirvoManager::ReleaseInstance(reinterpret_cast<ZRMirvoManager*>(uintptr_t{16}));
        ZRMirvoManager::getVersion();
    };
    __android_log_set_logger(logger);
    for (const char* notify : {kAttached, kServiceLost})
        deliver(kManagerClient, notify);
    for (const char* notify : {kStateChange, kTransportFatal})
        deliver(kInstanceClient, notify);
    mManager->RegisterCallback(&managers);
    mInstance->RegisterCallback(&devices);
    mManager->ReleaseMirvoInstance(other);
    release();
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    EXPECT_TRUE(released);
    EXPECT_GT(lines, 40);
}

TEST_F(PromisesTest, callbacksUnregisterAndReleaseEachOther) {
    obtain();
    ZRMirvo* const instances[] = {mInstance, mManager->GetMirvoInstance(kAccessory)};
    std::unique_ptr<DeviceCallback> callbacks[2];
    Signal inside[2];
    for (size_t i : {0, 1}) {
        callbacks[i] = std::make_unique<DeviceCallback>([&, i](const std::string&) {
            inside[i].set();
            EXPECT_TRUE(inside[1 - i].wait());
            instances[1 - i]->UnregisterCallback(callbacks[1 - i].get());
            mManager->ReleaseMirvoInstance(instances[1 - i]);
        });
        instances[i]->RegisterCallback(callbacks[i].get());
    }
    {
        Task first([&] { deliver(kInstanceClient, kStateChange); });
        Task second([&] { deliver(kInstanceClient + 1, kStateChange); });
    }
    EXPECT_EQ(mFramework.liveClients(), 1u);
}

TEST_F(PromisesTest, aCallbackReleasesItsInstanceAndTheManager) {
    obtain();
    int calls = 0;
    DeviceCallback devices([&](const std::string&) {
        ++calls;
        mManager->ReleaseMirvoInstance(mInstance);
    });
    DeviceCallback next([&](const std::string&) { ++calls; });
    mInstance->RegisterCallback(&devices);
    mInstance->RegisterCallback(&next);
    deliver(kInstanceClient, kStateChange);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(mFramework.liveClients(), 1u);

    ManagerCallback managers([&](const std::string& event) {
        ++calls;
        EXPECT_EQ(event, "onError");
        ZRMirvoManager* const old = mManager;
        ZRMirvoManager::ReleaseInstance(old);
        EXPECT_TRUE(isDestroyed(mLog));
        mManager = ZRMirvoManager::GetInstance("3.6");
        EXPECT_TRUE(mManager->RegisterCallback(&managers));
    });
    mManager->RegisterCallback(&managers);
    deliver(kManagerClient, kServiceLost);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    EXPECT_EQ(mManager->startup(), 0);
    release();
}

TEST_F(PromisesTest, aReleaseTakesTheManagerOutFirst) {
    obtain();
    ZRMirvoManager* const old = mManager;
    Signal inside, leave;
    ZRMirvoManager* fresh = nullptr;
    ManagerCallback managers([&](const std::string&) {
        inside.set();
        EXPECT_TRUE(leave.wait());
        fresh = ZRMirvoManager::GetInstance("3.6");
        EXPECT_NE(fresh, old);
        EXPECT_EQ(old->GetMirvoInstance(kAccessory), nullptr);
        EXPECT_FALSE(old->RegisterCallback(&managers));
        DeviceCallback devices([](const std::string&) {});
        EXPECT_FALSE(mInstance->RegisterCallback(&devices));
        mLog.take();
        deliver(kInstanceClient, kTransportFatal);
        EXPECT_EQ(lines().size(), 1u);
        ZRMirvoManager::ReleaseInstance(old);
        EXPECT_EQ(lines(), Lines{"E/ZRMirvo: violated: pImpl != NULL\n"});
        EXPECT_EQ(old->startup(), 0);
    });
    old->RegisterCallback(&managers);
    Task delivery([&] { deliver(kManagerClient, kAttached); });
    ASSERT_TRUE(inside.wait());
    mFramework.takeEvents();
    Task releaser([&] { ZRMirvoManager::ReleaseInstance(old); });
    EXPECT_TRUE(releaser.waits());
    leave.set();
    EXPECT_TRUE(releaser.finishes());
    ASSERT_NE(fresh, nullptr);
    const Lines requests = mFramework.requests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), kDisconnectRequest), 0);
    EXPECT_EQ(fresh->startup(), 0);
    mManager = fresh;
}

TEST_F(PromisesTest, twoFirstCallsMakeOneManager) {
    std::atomic<int> binds{0};
    mFramework.onBind([&] {
        if (binds++ == 0) {
            mRuns.set();
            EXPECT_TRUE(mGo.wait());
        }
        return true;
    });
    ZRMirvoManager* managers[2] = {};
    {
        Task first([&] { managers[0] = ZRMirvoManager::GetInstance("3.6"); });
        ASSERT_TRUE(mRuns.wait());
        Task second([&] { managers[1] = ZRMirvoManager::GetInstance("3.6"); });
        EXPECT_TRUE(second.waits());
        // Unlocked.
        EXPECT_EQ(ZRMirvoManager::getVersion().serverPatch, 1);
        ZRMirvoManager::ReleaseInstance(reinterpret_cast<ZRMirvoManager*>(uintptr_t{16}));
        mGo.set();
    }
    EXPECT_NE(managers[0], nullptr);
    EXPECT_EQ(managers[0], managers[1]);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    const Lines events = mFramework.takeEvents();
    EXPECT_EQ(std::count(events.begin(), events.end(), "startThreadPool"), 1);
    mManager = managers[0];
}

TEST_F(PromisesTest, aReleaseWaitsForADeviceError) {
    obtain();
    hold("131: 3,");
    Task error([&] { deliver(kInstanceClient, kTransportFatal); });
    ASSERT_TRUE(mRuns.wait());
    Task releaser([&] { release(); });
    EXPECT_TRUE(releaser.waits());
    EXPECT_FALSE(isDestroyed(mLog));
    mGo.set();
    EXPECT_TRUE(releaser.finishes());
    EXPECT_TRUE(isDestroyed(mLog));
}

TEST_F(PromisesTest, aReleaseInsideACallbackLeavesTheManagerToADeviceError) {
    obtain();
    hold("131: 3,");
    ManagerCallback managers([&](const std::string&) { release(); });
    mManager->RegisterCallback(&managers);
    Task error([&] { deliver(kInstanceClient, kTransportFatal); });
    ASSERT_TRUE(mRuns.wait());
    deliver(kManagerClient, kServiceLost);
    EXPECT_EQ(mManager, nullptr);
    EXPECT_FALSE(isDestroyed(mLog));
    mGo.set();
    EXPECT_TRUE(error.finishes());
    EXPECT_TRUE(isDestroyed(mLog));
    EXPECT_EQ(mFramework.liveClients(), 0u);
}

TEST_F(PromisesTest, errorsOfWhatIsReleasedOnlyLog) {
    for (const bool managers : {false, true}) {
        obtain();
        int errors = 0;
        // The hold is taken after the line, so this is the last moment.
        gOnLine = [&](const char* line) {
            if (std::string(line).find("TRANSPORT_FATAL") == std::string::npos) return;
            ++errors;
            if (managers) release();
            if (!managers) mManager->ReleaseMirvoInstance(mInstance);
        };
        __android_log_set_logger(logger);
        deliver(managers ? kInstanceClient + 1 : kInstanceClient, kTransportFatal);
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        EXPECT_EQ(errors, 1);
        EXPECT_EQ(mFramework.requests(), Lines{});
    }
}

}  // namespace
}  // namespace zrmirvo

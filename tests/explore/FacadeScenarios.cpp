#include <zrmirvo/ZRMirvoManager.h>

#include <thread>
#include <utility>

#include "protocol/MVCodes.h"
#include "protocol/MVServiceMessages.h"
#include "tests/explore/Callback.h"
#include "tests/explore/Framework.h"
#include "tests/explore/Scenarios.h"

// Each scenario begins with a manager and an instance, whose clients have these numbers, and leaves
// nothing behind.

namespace explorer {

using accessory::MV_ERROR_CODE_TRANSPORT_FATAL;
using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;

namespace {

constexpr size_t kManager = 0;
constexpr size_t kInstance = 1;
constexpr size_t kOther = 2;
// For a scenario whose orders with three take too long.
constexpr Limits kTwoPreemptions{2, 1, 0};
constexpr unsigned int kId = 7;
constexpr unsigned int kOtherId = 8;

Framework& framework() {
    return Framework::self();
}

// A manager with an instance, released at the end if the scenario has not done it.
struct World {
    World() {
        const Prelude prelude;
        manager = ZRMirvoManager::GetInstance("3.6");
        instance = manager->GetMirvoInstance(kId);
        require(instance != nullptr, "there is no instance");
    }
    ~World() {
        if (manager != nullptr) ZRMirvoManager::ReleaseInstance(manager);
        require(framework().liveClients == 0, "a client is left behind");
    }
    void release() { ZRMirvoManager::ReleaseInstance(std::exchange(manager, nullptr)); }

    ZRMirvoManager* manager;
    ZRMirvo* instance;
};

void deliverState() {
    framework().state(kInstance, kId, 1);
}

void unregisterAgainstTwoDeliveries() {
    World world;
    Callback callback;
    world.instance->RegisterCallback(&callback);
    std::thread first(deliverState);
    std::thread second(deliverState);
    world.instance->UnregisterCallback(&callback);
    callback.end();
    first.join();
    second.join();
}

void unregisterFromTwoThreads() {
    World world;
    Callback callback;
    Callback other;
    world.instance->RegisterCallback(&callback);
    world.instance->RegisterCallback(&other);
    std::thread delivery(deliverState);
    std::thread second([&] {
        world.instance->UnregisterCallback(&callback);
        callback.end();
    });
    world.instance->UnregisterCallback(&callback);
    callback.end();
    second.join();
    delivery.join();
    require(other.calls() == 1, "what another thread removes makes a callback be skipped");
}

void releaseAgainstTwoDeliveries() {
    World world;
    Callback callback;
    world.instance->RegisterCallback(&callback);
    std::thread first(deliverState);
    std::thread second(deliverState);
    world.manager->ReleaseMirvoInstance(world.instance);
    callback.end();
    first.join();
    second.join();
}

// Counts the disconnects that errors cause, and knows when there must be none any more.
struct Disconnects {
    Disconnects() {
        framework().onRequest = [this](int32_t type, int32_t command) {
            const bool disconnect = type == accessory::MVServiceItem::MANAGER_COMMON &&
                                    command == accessory::MV_COMMAND_DISCONNECT;
            require(!disconnect || !ended, "an error disconnects after its instance's release");
        };
    }
    ~Disconnects() { framework().onRequest = nullptr; }
    bool ended = false;
};

void releaseOfAnInstanceAgainstItsError() {
    World world;
    Disconnects disconnects;
    std::thread error(
        [] { framework().deviceError(kInstance, kId, MV_ERROR_CODE_TRANSPORT_FATAL); });
    world.manager->ReleaseMirvoInstance(world.instance);
    disconnects.ended = true;
    error.join();
}

void releaseOfTheManagerAgainstErrorAndAttach() {
    World world;
    Disconnects disconnects;
    Callback callback;
    world.manager->RegisterCallback(&callback);
    std::thread error(
        [] { framework().deviceError(kInstance, kId, MV_ERROR_CODE_TRANSPORT_FATAL); });
    std::thread attach([] { framework().attach(kManager, kOtherId); });
    world.release();
    disconnects.ended = true;
    callback.end();
    error.join();
    attach.join();
}

void twoReleasesOfTheManager() {
    World world;
    Callback callback;
    world.manager->RegisterCallback(&callback);
    world.instance->RegisterCallback(&callback);
    ZRMirvoManager* const manager = std::exchange(world.manager, nullptr);
    std::thread attach([] { framework().attach(kManager, kOtherId); });
    std::thread release([=] { ZRMirvoManager::ReleaseInstance(manager); });
    ZRMirvoManager::ReleaseInstance(manager);
    callback.end();
    release.join();
    attach.join();
}

void releaseInsideACallbackAgainstUnregister() {
    World world;
    Callback callback([&] { world.manager->ReleaseMirvoInstance(world.instance); });
    Callback other;
    ZRMirvo* const second = world.manager->GetMirvoInstance(kOtherId);
    world.instance->RegisterCallback(&callback);
    second->RegisterCallback(&other);
    std::thread delivery(deliverState);
    std::thread elsewhere([] { framework().state(kOther, kOtherId, 1); });
    second->UnregisterCallback(&other);
    other.end();
    delivery.join();
    elsewhere.join();
}

void aCallbackThatReleasesTheManager() {
    World world;
    ZRMirvoManager* const manager = std::exchange(world.manager, nullptr);
    Callback callback([=] { ZRMirvoManager::ReleaseInstance(manager); });
    Callback other;
    manager->RegisterCallback(&callback);
    world.instance->RegisterCallback(&other);
    std::thread lost([] { framework().lost(kManager); });
    std::thread state(deliverState);
    lost.join();
    // Refused, but it waits for what the released manager still runs.
    ZRMirvoManager::ReleaseInstance(manager);
    callback.end();
    other.end();
    state.join();
}

void twoCallbacksReleaseEachOther() {
    World world;
    ZRMirvo* const second = world.manager->GetMirvoInstance(kOtherId);
    Callback first([&] { world.manager->ReleaseMirvoInstance(second); });
    Callback other([&] { world.manager->ReleaseMirvoInstance(world.instance); });
    world.instance->RegisterCallback(&first);
    second->RegisterCallback(&other);
    std::thread one(deliverState);
    std::thread two([] { framework().state(kOther, kOtherId, 1); });
    one.join();
    two.join();
    world.release();
    first.end();
    other.end();
}

void theReleaseOfNothingWaitsForReleasedInstances() {
    World world;
    Callback callback([&] { world.manager->ReleaseMirvoInstance(world.instance); });
    Callback other;
    world.instance->RegisterCallback(&callback);
    world.instance->RegisterCallback(&other);
    std::thread first(deliverState);
    std::thread second(deliverState);
    first.join();
    // The first delivery has released the instance inside the callback, or the second one has.
    world.manager->ReleaseMirvoInstance(nullptr);
    if (callback.calls() > 0) {
        callback.end();
        other.end();
    }
    second.join();
}

void anInstanceIsObtainedDuringTheRelease() {
    World world;
    ZRMirvoManager* const manager = world.manager;
    Callback callback([=] {
        ZRMirvo* const late = manager->GetMirvoInstance(kOtherId);
        if (late != nullptr) manager->ReleaseMirvoInstance(late);
    });
    world.instance->RegisterCallback(&callback);
    std::thread delivery(deliverState);
    world.release();
    callback.end();
    delivery.join();
}

void lossDuringRequests() {
    World world;
    Callback callback;
    world.manager->RegisterCallback(&callback);
    std::thread lost([] { framework().lost(kManager); });
    world.manager->startup();
    world.instance->sendKeyEvent(4, true);
    world.release();
    callback.end();
    lost.join();
    framework().available = true;
}

void getAgainstRelease() {
    const auto live = [] {
        ZRMirvoManager* const manager = ZRMirvoManager::GetInstance("3.6");
        require(manager != nullptr, "there is no manager");
        ZRMirvoManager::ReleaseInstance(manager);
    };
    std::thread other(live);
    live();
    other.join();
    require(framework().liveClients == 0, "a client is left behind");
}

}  // namespace

std::vector<Scenario> facadeScenarios() {
    return {
        {"unregister-against-two-deliveries", unregisterAgainstTwoDeliveries, {}},
        {"unregister-from-two-threads", unregisterFromTwoThreads, {}},
        {"release-against-two-deliveries", releaseAgainstTwoDeliveries, {}},
        {"release-against-error", releaseOfAnInstanceAgainstItsError, {}},
        {"manager-against-error-and-attach", releaseOfTheManagerAgainstErrorAndAttach, {}},
        {"two-releases-of-the-manager", twoReleasesOfTheManager, kTwoPreemptions},
        {"release-inside-against-unregister", releaseInsideACallbackAgainstUnregister, {}},
        {"callback-releases-the-manager", aCallbackThatReleasesTheManager, {}},
        {"callbacks-release-each-other", twoCallbacksReleaseEachOther, {}},
        {"release-of-nothing-waits", theReleaseOfNothingWaitsForReleasedInstances, {}},
        {"instance-during-release", anInstanceIsObtainedDuringTheRelease, {}},
        {"loss-during-requests", lossDuringRequests, {}},
        {"get-against-release", getAgainstRelease, {}},
    };
}

}  // namespace explorer

#include "api/CurrentManager.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "accessory/CallbackScope.h"
#include "protocol/ProcessState.h"

namespace zrmirvo {

CurrentManager& CurrentManager::self() {
    // Never destroyed: the framework's threads may still be here while the process exits.
    static auto* const kSelf = new CurrentManager;
    return *kSelf;
}

ZRMirvoManagerImpl* CurrentManager::obtain() {
    while (true) {
        {
            android::AutoMutex lock(mLock);
            while (mConstructing)
                mConstructed.wait(mLock);
            if (gmInstance != nullptr) return gmInstance;
            mConstructing = true;
        }
        auto* manager = new ZRMirvoManagerImpl;
        {
            android::AutoMutex lock(mLock);
            gmInstance = manager;
            mConstructing = false;
            mConstructed.broadcast();
        }
        android::ProcessState::self()->startThreadPool();
        // Another thread may have released it meanwhile, so it is looked up again.
    }
}

bool CurrentManager::release(const ZRMirvoManager* instance) {
    ZRMirvoManagerImpl* manager = nullptr;
    sp<Release> release;
    {
        android::AutoMutex lock(mLock);
        if (gmInstance != instance) return false;
        manager = std::exchange(gmInstance, nullptr);
        release = new Release(*manager);
        mReleases.push_back(release);
    }
    manager->release();
    {
        android::AutoMutex lock(mLock);
        release->ended = true;
        mReleased.broadcast();
    }
    forgetIdleReleases();
    return true;
}

void CurrentManager::awaitReleases() {
    if (accessory::CallbackScope::active()) return;
    const Releases begun = releases();
    for (const auto& release : begun) {
        // A thread that comes back here from inside its own release must not wait for itself.
        const bool own = pthread_equal(release->thread, pthread_self()) != 0;
        {
            android::AutoMutex lock(mLock);
            while (!own && !release->ended)
                mReleased.wait(mLock);
        }
        release->notifier->drain();
        release->instances->drain();
    }
}

CurrentManager::Releases CurrentManager::releases() {
    android::AutoMutex lock(mLock);
    return mReleases;
}

void CurrentManager::forgetIdleReleases() {
    // Declared before the lock, so that what is forgotten goes after it.
    const Releases known = releases();
    Releases idle;
    std::copy_if(known.begin(), known.end(), std::back_inserter(idle),
                 [](const auto& release) { return release->idle(); });
    android::AutoMutex lock(mLock);
    const auto forgotten = [&](const auto& release) {
        return release->ended && std::find(idle.begin(), idle.end(), release) != idle.end();
    };
    mReleases.erase(std::remove_if(mReleases.begin(), mReleases.end(), forgotten), mReleases.end());
}

}  // namespace zrmirvo

#pragma once

#include <pthread.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <vector>

#include "api/ZRMirvoManagerImpl.h"

namespace zrmirvo {

// The one manager of the process, and the releases of those before it. Thread-safe. No lock is held
// while a manager is made or released.
class CurrentManager {
public:
    static CurrentManager& self();

    // Returns the manager, which is made if there is none. Whoever comes while it is being made
    // waits. The release of the manager had not begun when this looked last, at its end.
    ZRMirvoManagerImpl* obtain();

    // Releases the manager, if `instance` is it, and returns false otherwise. The pointer is only
    // compared.
    bool release(const ZRMirvoManager* instance);

    // Waits for the releases that have begun, and then for the deliveries of the managers that they
    // released. Returns at once inside a callback, as CallbackList::drain does.
    void awaitReleases();

private:
    // One release, with what may be running of its manager, also after its end.
    struct Release : public virtual android::RefBase {
        explicit Release(const ZRMirvoManagerImpl& manager)
            : thread(pthread_self()),
              notifier(manager.notifier()),
              instances(manager.instances()) {}

        bool idle() const { return notifier->idle() && instances->idle(); }

        const pthread_t thread;
        const sp<ZRMirvoManagerNotifier> notifier;
        const sp<InstanceTable> instances;
        // Guarded by the lock of the CurrentManager.
        bool ended = false;
    };
    using Releases = std::vector<sp<Release>>;

    Releases releases();
    void forgetIdleReleases();

    android::Mutex mLock;
    android::Condition mConstructed;
    android::Condition mReleased;
    bool mConstructing GUARDED_BY(mLock) = false;
    ZRMirvoManagerImpl* gmInstance GUARDED_BY(mLock) = nullptr;
    // Those that have not ended or whose manager is not idle, and perhaps some more.
    Releases mReleases GUARDED_BY(mLock);
};

}  // namespace zrmirvo

#pragma once

#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <utility>

#include "accessory/MirvoManager.h"

namespace zrmirvo {

// The way from the notifiers of a manager's instances to the manager's client. The release of the
// manager empties it first. Thread-safe.
class ManagerLink : public virtual android::RefBase {
public:
    explicit ManagerLink(const android::sp<accessory::MirvoManager>& client) : mClient(client) {}

    // Null once the manager is being released.
    android::sp<accessory::MirvoManager> client() {
        android::AutoMutex lock(mLock);
        return mClient;
    }

    void clear() {
        // Declared first, because it may be the last reference and must go after the lock.
        android::sp<accessory::MirvoManager> cleared;
        android::AutoMutex lock(mLock);
        std::swap(mClient, cleared);
    }

private:
    android::Mutex mLock;
    android::sp<accessory::MirvoManager> mClient GUARDED_BY(mLock);
};

}  // namespace zrmirvo

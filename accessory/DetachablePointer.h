#pragma once

#include <utils/Mutex.h>

namespace accessory {

// The pointer from a listener to the object that made it, its owner. The framework may hold a
// listener, and even call it, for longer than the owner lives. No reference can keep the owner: the
// last one may already be gone, or the first one not yet there, while a notification arrives. So
// the owner detaches itself first thing in its destructor, and whoever comes later finds nobody.
//
// Threads: thread-safe.
template <typename Owner>
class DetachablePointer {
public:
    explicit DetachablePointer(Owner* owner) : mOwner(owner) {}

    DetachablePointer(const DetachablePointer&) = delete;
    DetachablePointer& operator=(const DetachablePointer&) = delete;

    // Waits for a use that is under way.
    void detach() {
        android::AutoMutex lock(mLock);
        mOwner = nullptr;
    }

    // Calls `use` with the owner, or returns false when it is gone. `use` copies or exchanges
    // fields and calls nobody, because the lock is held meanwhile. No two uses run at once, so the
    // fields that only they touch need no other lock.
    template <typename Use>
    bool withOwner(Use use) {
        android::AutoMutex lock(mLock);
        if (mOwner == nullptr) return false;
        use(*mOwner);
        return true;
    }

private:
    android::Mutex mLock;
    Owner* mOwner GUARDED_BY(mLock);
};

}  // namespace accessory

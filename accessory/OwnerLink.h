#pragma once

#include <utils/Mutex.h>

namespace accessory {

// The way from a listener to the object that made it. The framework may hold a listener, and even
// call it, for longer than that object lives, and no reference can keep the object: the last one
// may already be gone, or the first one not yet there, while a notification arrives. So the object
// detaches itself first thing in its destructor, and whoever comes later finds nobody.
template <typename Owner>
class OwnerLink {
public:
    explicit OwnerLink(Owner* owner) : mOwner(owner) {}

    OwnerLink(const OwnerLink&) = delete;
    OwnerLink& operator=(const OwnerLink&) = delete;

    // Waits for a use that is under way.
    void detach() {
        android::AutoMutex lock(mLock);
        mOwner = nullptr;
    }

    // Calls `use` with the owner, or answers false when it is gone. `use` copies fields and calls
    // nobody: the lock is held meanwhile.
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

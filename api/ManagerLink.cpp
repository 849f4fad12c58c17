#include "api/ManagerLink.h"

#include <utility>

#include "accessory/CallbackScope.h"
#include "api/ZRMirvoManagerImpl.h"

namespace zrmirvo {

ManagerLink::Hold::Hold(const android::sp<ManagerLink>& link) : mLink(link) {
    android::AutoMutex lock(mLink->mLock);
    mManager = mLink->mManager;
    if (mManager != nullptr) ++mLink->mHolds;
}

ManagerLink::Hold::~Hold() {
    if (mManager != nullptr) mLink->drop();
}

ZRMirvoManagerImpl* ManagerLink::close() {
    android::AutoMutex lock(mLock);
    return std::exchange(mManager, nullptr);
}

void ManagerLink::destroy(ZRMirvoManagerImpl* manager) {
    {
        android::AutoMutex lock(mLock);
        if (mHolds > 0 && accessory::CallbackScope::active()) {
            mLeftBehind = manager;
            return;
        }
        while (mHolds > 0)
            mDropped.wait(mLock);
    }
    delete manager;
}

void ManagerLink::drop() {
    ZRMirvoManagerImpl* leftBehind = nullptr;
    {
        android::AutoMutex lock(mLock);
        if (--mHolds > 0) return;
        leftBehind = std::exchange(mLeftBehind, nullptr);
        mDropped.broadcast();
    }
    delete leftBehind;
}

}  // namespace zrmirvo

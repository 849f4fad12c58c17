#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace zrmirvo {

class ZRMirvoManagerImpl;

// The way from a device's notifier to the manager. A notifier may outlive the manager, so it holds
// this, and this knows whether the manager is still there. It also is what destroys the manager,
// once nobody uses it on this way any more.
class ManagerLink : public virtual android::RefBase {
public:
    explicit ManagerLink(ZRMirvoManagerImpl* manager) : mManager(manager) {}

    // Keeps the manager from being destroyed while it exists.
    class Hold {
    public:
        explicit Hold(const android::sp<ManagerLink>& link);
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        // Null when the manager is being released or gone.
        ZRMirvoManagerImpl* get() const { return mManager; }

    private:
        const android::sp<ManagerLink> mLink;
        ZRMirvoManagerImpl* mManager;
    };

    // From here on every new hold is empty. Answers the manager to the first caller.
    ZRMirvoManagerImpl* close();

    // Destroys `manager`, which close() has answered: on an application thread after the last hold
    // has gone, inside a callback at once, or, when there still are holds, in the last of them.
    void destroy(ZRMirvoManagerImpl* manager);

private:
    void drop();

    android::Mutex mLock;
    android::Condition mDropped;
    ZRMirvoManagerImpl* mManager GUARDED_BY(mLock);
    int mHolds GUARDED_BY(mLock) = 0;
    ZRMirvoManagerImpl* mLeftBehind GUARDED_BY(mLock) = nullptr;
};

}  // namespace zrmirvo

#pragma once

#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/SortedVector.h>
#include <utils/TypeHelpers.h>

#include <vector>

#include "api/ZRMirvoImpl.h"

namespace zrmirvo {

// The instances of one manager, by their addresses. An operation that is under way keeps the table
// when the manager goes, and finds it closed.
class InstanceTable : public virtual android::RefBase {
public:
    // False once the table is closed.
    bool add(const sp<ZRMirvoImpl>& instance);

    // The instance at the address `instance`, which is only compared; it is closed and no longer in
    // the table. Null when there is none.
    sp<ZRMirvoImpl> remove(const ZRMirvo* instance);

    bool closed();

    // Takes no instance any more, and closes those that there are.
    void close();

    // Waits for the callbacks that are still running, as CallbackList::drain does, also for those
    // of an instance that a callback has removed: a callback waits for nobody.
    void drain();

    // Lets all instances go.
    void clear();

private:
    using Entry = android::key_value_pair_t<unsigned long, sp<ZRMirvoImpl>>;
    using Entries = android::SortedVector<Entry>;
    using Notifiers = std::vector<sp<ZRMirvoNotifier>>;

    static unsigned long key(const ZRMirvo* instance);

    android::Mutex mLock;
    bool mClosed GUARDED_BY(mLock) = false;
    Entries mEntries GUARDED_BY(mLock);
    // Of the instances that callbacks have removed, until their last event has ended.
    Notifiers mRemoved GUARDED_BY(mLock);
};

}  // namespace zrmirvo

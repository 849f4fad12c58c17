#pragma once

#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/SortedVector.h>
#include <utils/TypeHelpers.h>

#include <vector>

#include "api/ZRMirvoImpl.h"

namespace zrmirvo {

// The instances of one manager, by their addresses. An operation that is under way keeps the table
// when the manager goes, and finds it closed. Thread-safe.
class InstanceTable : public virtual android::RefBase {
public:
    // Returns false once the table is closed. The instance already has its notifier.
    bool add(const sp<ZRMirvoImpl>& instance);

    // Takes the instance at the address `instance`, which is only compared, out of the table and
    // closes it. Returns null when there is none.
    sp<ZRMirvoImpl> remove(const ZRMirvo* instance);

    bool closed();

    // Takes no instance any more, and closes those that there are.
    void close();

    // Waits, as CallbackList::drain does, for the deliveries of the instances that have been
    // closed.
    void drain();

    // Whether no delivery of an instance that has been closed is under way.
    bool idle();

    // Lets all instances go.
    void clear();

private:
    using Entry = android::key_value_pair_t<unsigned long, sp<ZRMirvoImpl>>;
    using Entries = android::SortedVector<Entry>;
    using Notifiers = std::vector<sp<ZRMirvoNotifier>>;

    static unsigned long key(const ZRMirvo* instance);
    void close(const ZRMirvoImpl& instance) REQUIRES(mLock);
    Notifiers closedNotifiers();

    android::Mutex mLock;
    bool mClosed GUARDED_BY(mLock) = false;
    Entries mEntries GUARDED_BY(mLock);
    // Those with a delivery under way, and perhaps some more.
    Notifiers mClosedNotifiers GUARDED_BY(mLock);
};

}  // namespace zrmirvo

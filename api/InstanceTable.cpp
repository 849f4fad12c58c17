#include "api/InstanceTable.h"

#include <algorithm>
#include <iterator>

#include "accessory/CallbackScope.h"

// Whatever may be the last reference to something is declared before the lock, so that it goes
// after it.

namespace zrmirvo {

unsigned long InstanceTable::key(const ZRMirvo* instance) {
    return reinterpret_cast<unsigned long>(instance);
}

bool InstanceTable::add(const sp<ZRMirvoImpl>& instance) {
    android::AutoMutex lock(mLock);
    if (!mClosed) mEntries.add(Entry(key(instance.get()), instance));
    return !mClosed;
}

sp<ZRMirvoImpl> InstanceTable::remove(const ZRMirvo* instance) {
    sp<ZRMirvoImpl> removed;
    Notifiers ended;
    android::AutoMutex lock(mLock);
    const ssize_t index = mEntries.indexOf(Entry(key(instance)));
    if (index < 0) return nullptr;
    removed = mEntries[static_cast<size_t>(index)].value;
    mEntries.removeItemsAt(static_cast<size_t>(index));
    removed->notifier()->close();

    const auto firstEnded = std::partition(mRemoved.begin(), mRemoved.end(),
                                           [](const auto& notifier) { return !notifier->idle(); });
    std::move(firstEnded, mRemoved.end(), std::back_inserter(ended));
    mRemoved.erase(firstEnded, mRemoved.end());
    if (accessory::CallbackScope::active()) mRemoved.push_back(removed->notifier());
    return removed;
}

bool InstanceTable::closed() {
    android::AutoMutex lock(mLock);
    return mClosed;
}

void InstanceTable::close() {
    android::AutoMutex lock(mLock);
    mClosed = true;
    for (const Entry& entry : mEntries)
        entry.value->notifier()->close();
}

void InstanceTable::drain() {
    Notifiers notifiers;
    {
        android::AutoMutex lock(mLock);
        notifiers = mRemoved;
        for (const Entry& entry : mEntries)
            notifiers.push_back(entry.value->notifier());
    }
    for (const auto& notifier : notifiers)
        notifier->drain();
}

void InstanceTable::clear() {
    Entries entries;
    android::AutoMutex lock(mLock);
    entries = mEntries;
    mEntries.clear();
}

}  // namespace zrmirvo

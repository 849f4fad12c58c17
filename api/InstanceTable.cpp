#include "api/InstanceTable.h"

#include <algorithm>
#include <iterator>

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
    Notifiers idle;
    android::AutoMutex lock(mLock);
    const ssize_t index = mEntries.indexOf(Entry(key(instance)));
    if (index < 0) return nullptr;
    removed = mEntries[static_cast<size_t>(index)].value;
    mEntries.removeItemsAt(static_cast<size_t>(index));

    const auto firstIdle = std::partition(mClosedNotifiers.begin(), mClosedNotifiers.end(),
                                          [](const auto& notifier) { return !notifier->idle(); });
    std::move(firstIdle, mClosedNotifiers.end(), std::back_inserter(idle));
    mClosedNotifiers.erase(firstIdle, mClosedNotifiers.end());
    close(*removed);
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
        close(*entry.value);
}

void InstanceTable::drain() {
    for (const auto& notifier : closedNotifiers())
        notifier->drain();
}

bool InstanceTable::idle() {
    const Notifiers notifiers = closedNotifiers();
    return std::all_of(notifiers.begin(), notifiers.end(),
                       [](const auto& notifier) { return notifier->idle(); });
}

void InstanceTable::clear() {
    Entries entries;
    android::AutoMutex lock(mLock);
    entries = mEntries;
    mEntries.clear();
}

void InstanceTable::close(const ZRMirvoImpl& instance) {
    instance.notifier()->close();
    mClosedNotifiers.push_back(instance.notifier());
}

InstanceTable::Notifiers InstanceTable::closedNotifiers() {
    android::AutoMutex lock(mLock);
    return mClosedNotifiers;
}

}  // namespace zrmirvo

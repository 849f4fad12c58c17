#include "api/InstanceTable.h"

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
    android::AutoMutex lock(mLock);
    const ssize_t index = mEntries.indexOf(Entry(key(instance)));
    if (index < 0) return nullptr;
    // The caller's reference, so that the instance never goes under the lock.
    sp<ZRMirvoImpl> removed = mEntries[static_cast<size_t>(index)].value;
    mEntries.removeItemsAt(static_cast<size_t>(index));
    return removed;
}

bool InstanceTable::closed() {
    android::AutoMutex lock(mLock);
    return mClosed;
}

void InstanceTable::close() {
    Entries entries;
    {
        android::AutoMutex lock(mLock);
        mClosed = true;
        entries = mEntries;
    }
    for (size_t i = 0; i < entries.size(); ++i)
        entries[i].value->close();
}

void InstanceTable::clear() {
    Entries entries;
    android::AutoMutex lock(mLock);
    entries = mEntries;
    mEntries.clear();
}

}  // namespace zrmirvo

#pragma once

#include <utils/Mutex.h>

#include <cstdint>
#include <unordered_map>

#include "standin/NotifyChannel.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// The threads on which notifications are delivered. They wait together for all channels. A thread
// that gets a channel first makes sure that another thread waits for the others, and then delivers
// everything that has come on its own. So a listener that blocks delays only its own channel.
//
// There is one pool. It is never destroyed, because its threads may run until the process has
// ended.
class NotifyPool {
public:
    static NotifyPool& instance();

    // Begins to deliver. Until then notifications wait in their sockets.
    void start();
    // False, with one line in the log, when the channel cannot be waited for.
    bool add(const sp<NotifyChannel>& channel);
    // Does not wait for a delivery that is running.
    void remove(const sp<NotifyChannel>& channel);
    // Makes a thread process a channel once more that had ended.
    void wake(const sp<NotifyChannel>& channel);

private:
    NotifyPool() = default;
    ~NotifyPool() = default;

    void run();
    sp<NotifyChannel> claim(uint64_t key) EXCLUDES(mMutex);
    bool rejoin() EXCLUDES(mMutex);
    void ensureWaiter() REQUIRES(mMutex);
    bool watch(const NotifyChannel* channel, int operation);

    android::Mutex mMutex;
    bool mStarted GUARDED_BY(mMutex) = false;
    int mWaiting GUARDED_BY(mMutex) = 0;
    // An event carries the key of its channel, which may be gone when the event is handled. So the
    // channel is looked up here.
    std::unordered_map<uint64_t, sp<NotifyChannel>> mChannels GUARDED_BY(mMutex);
    // Written once under the lock, before there is a thread or a channel.
    UniqueFd mEpoll;
};

}  // namespace accessory::standin

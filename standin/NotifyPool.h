#pragma once

#include <utils/Mutex.h>

#include <cstdint>
#include <unordered_map>

#include "standin/NotifyChannel.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// The threads on which notifications are delivered. They wait together for all channels; whoever
// has been given one keeps it until it has delivered what there is, after making sure that somebody
// else is waiting for the others. So a listener that blocks delays its own channel only.
//
// There is one pool, which is never destroyed: its threads may run until the process has ended.
class NotifyPool {
public:
    static NotifyPool& instance();

    // Begins to deliver. Until then notifications wait in their sockets.
    void start();
    // False, with one line in the log, when the channel cannot be waited for.
    bool add(const sp<NotifyChannel>& channel);
    // Waits for no delivery; the one that is running may go on.
    void remove(const sp<NotifyChannel>& channel);
    // Has a channel processed again that had ended.
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
    // What an event names may be gone by the time that it is looked at; so it is looked up here.
    std::unordered_map<uint64_t, sp<NotifyChannel>> mChannels GUARDED_BY(mMutex);
    // Written once under the lock, before there is a thread or a channel.
    UniqueFd mEpoll;
};

}  // namespace accessory::standin

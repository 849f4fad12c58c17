#pragma once

#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "protocol/ServiceContract.h"
#include "standin/Content.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// The host's side of the connections for notifications: a bounded queue for each, and one thread
// that empties them. A queue consists of datagrams ready to be sent; as long as the last one has
// room, the next notification goes into it. So a backlog leaves in few datagrams, and one
// notification alone at once.
//
// Threads: thread-safe.
class NotifySender {
public:
    using CutOff = std::function<void(pid_t)>;
    using Changed = std::function<void(size_t)>;

    // `cutOff` is called when the queue of a process's client has overflowed, on the thread that
    // notifies; `changed`, which may be empty, when the number of listening clients has changed, on
    // the sender's thread.
    NotifySender(size_t queueLimit, CutOff cutOff, Changed changed);
    ~NotifySender();

    NotifySender(const NotifySender&) = delete;
    NotifySender& operator=(const NotifySender&) = delete;

    // Takes over a connection whose client has asked to listen, and tells it that from here on it
    // misses nothing. False, with one line in the log, when that is not possible.
    bool add(UniqueFd fd, pid_t pid);
    void notify(ServiceNotify& notify);
    // Ends the connections of a process.
    void drop(pid_t pid);
    // Sends what can be sent without waiting, then ends all connections and the thread.
    void stop();
    size_t clients() const;

private:
    using Datagram = std::vector<uint8_t>;

    struct Listener {
        Listener(UniqueFd socket, pid_t process) : fd(std::move(socket)), pid(process) {}

        const UniqueFd fd;
        const pid_t pid;
        std::deque<Datagram> queue;
        size_t queued = 0;     // bytes
        bool blocked = false;  // the socket is full; that it has room again is waited for
        bool cutOff = false;   // gets nothing more
        bool dead = false;     // to be removed by the thread
    };

    bool prepare() REQUIRES(mMutex);
    void enqueue(Listener& listener, FrameHeader header, const WriteContent* content)
        REQUIRES(mMutex);
    Datagram& lastWithRoom(Listener& listener, size_t size) REQUIRES(mMutex);
    void wake() REQUIRES(mMutex);
    bool watch(Listener& listener, int operation, uint32_t events);

    void run();
    void flush() EXCLUDES(mMutex);
    Listener* takeNext(size_t index, Datagram& datagram) REQUIRES(mMutex);
    void send(Listener& listener, Datagram datagram) EXCLUDES(mMutex);
    bool fallAsleep() EXCLUDES(mMutex);
    void waitForEvents() EXCLUDES(mMutex);
    void handle(Listener& listener, uint32_t events) EXCLUDES(mMutex);
    void removeDead(bool all) EXCLUDES(mMutex);

    const size_t mQueueLimit;
    const CutOff mCutOff;
    const Changed mChanged;

    // Keeps notifications in the order of the calls while they are being written, without keeping
    // the thread from sending.
    android::Mutex mWriting;
    sp<SerializationContent> mContent GUARDED_BY(mWriting);

    mutable android::Mutex mMutex;
    // Only the thread removes from the list, so it may use what it found there without the lock.
    std::vector<std::unique_ptr<Listener>> mListeners GUARDED_BY(mMutex);
    std::vector<Datagram> mSpare GUARDED_BY(mMutex);
    bool mStopping GUARDED_BY(mMutex) = false;
    bool mAsleep GUARDED_BY(mMutex) = false;
    std::thread mThread GUARDED_BY(mMutex);
    // Written before the thread starts.
    UniqueFd mEpoll;
    UniqueFd mWake;
    size_t mReported = 0;  // the thread's own
};

}  // namespace accessory::standin

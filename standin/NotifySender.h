#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "standin/NotifyQueue.h"
#include "standin/ServiceHost.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// Stands for every process where one can be named.
constexpr pid_t kEveryProcess = 0;

// The host's side of the connections for notifications: a bounded queue for each, and one thread
// that empties them.
//
// Threads: thread-safe.
class NotifySender {
public:
    using CutOff = std::function<void(pid_t process, const std::string& reason)>;
    using Changed = std::function<void(size_t clients)>;

    // `cutOff` is called when the queue of a process's client has overflowed, on the thread that
    // notifies; `changed`, which may be empty, when the number of listening clients has changed, on
    // the sender's thread.
    NotifySender(size_t queueLimit, CutOff cutOff, Changed changed);
    ~NotifySender();

    NotifySender(const NotifySender&) = delete;
    NotifySender& operator=(const NotifySender&) = delete;

    // Takes over a connection whose client has asked to listen, and tells it that from here on it
    // misses nothing. False, with one line in the log, when that is not possible.
    bool add(UniqueFd fd, pid_t process, uint32_t number);
    // As the operations of ServiceHost.
    size_t notify(ServiceNotify& notify, pid_t process);
    bool waitForRoom(int milliseconds, const std::function<bool()>& over = nullptr);
    size_t waitUntilTaken(int milliseconds);
    std::vector<ServiceHost::Connection> connections() const;
    size_t clients() const;
    size_t listened() const;
    // Ends the connections of a process and tells it why. False when there is none.
    bool disconnect(pid_t process, const std::string& reason);
    // Sends what can be sent without waiting, then ends all connections and the thread.
    void stop();

private:
    struct Listener {
        Listener(UniqueFd socket, pid_t which, uint32_t connection)
            : fd(std::move(socket)), process(which), number(connection) {}

        // Whether it is still sent to.
        bool listens() const { return !cutOff && !dead; }
        bool ready() const { return !dead && !blocked && !queue.empty(); }

        const UniqueFd fd;
        const pid_t process;
        const uint32_t number;
        NotifyQueue queue;
        bool blocked = false;  // the socket is full; the thread waits until it has room again
        bool cutOff = false;   // gets nothing more
        bool dead = false;     // to be removed by the thread
        bool sending = false;  // the thread sends to it, without the lock
        std::optional<std::string> reason;  // of its disconnection, for its log
    };

    bool prepare() REQUIRES(mMutex);
    void wake() REQUIRES(mMutex);
    bool watch(Listener& listener, int operation, uint32_t events);
    static void end(const Listener& listener);

    void run();
    void flush() EXCLUDES(mMutex);
    void send(Listener& listener, NotifyQueue::Datagram datagram) EXCLUDES(mMutex);
    bool fallAsleep() EXCLUDES(mMutex);
    void waitForEvents() EXCLUDES(mMutex);
    void handle(Listener& listener, uint32_t events) EXCLUDES(mMutex);
    void removeDead(bool all) EXCLUDES(mMutex);

    const size_t mQueueLimit;
    const CutOff mCutOff;
    const Changed mChanged;

    // Keeps notifications in the order of the calls. It is separate from the next mutex, so that
    // the thread can send while a notification is being written.
    android::Mutex mWriting;
    sp<SerializationContent> mContent GUARDED_BY(mWriting);

    mutable android::Mutex mMutex;
    // Only the thread removes listeners, so it may use a listener without the lock.
    std::vector<std::unique_ptr<Listener>> mListeners GUARDED_BY(mMutex);
    size_t mListened GUARDED_BY(mMutex) = 0;
    // Signalled when a client has taken something or has gone, and when the sender stops.
    android::Condition mTaken;
    bool mStopping GUARDED_BY(mMutex) = false;
    bool mAsleep GUARDED_BY(mMutex) = false;
    std::thread mThread GUARDED_BY(mMutex);
    // Written before the thread starts.
    UniqueFd mEpoll;
    UniqueFd mWake;
    size_t mReported = 0;  // used by the thread only
};

}  // namespace accessory::standin

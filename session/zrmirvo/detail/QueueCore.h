#pragma once

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include "Handler.h"

namespace zrmirvo::detail {

// Events that were refused one after the other, and the number of the first.
struct Missing {
    size_t count = 0;
    uint64_t first = 0;

    void add(const Missing& more) {
        if (count == 0) first = more.first;
        count += more.count;
    }
};

// Something that waits to be run on the loop's thread. One allocation holds all that it needs.
class Event {
public:
    Event() = default;
    virtual ~Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    virtual void run() = 0;

private:
    friend class EventList;
    friend class QueueCore;

    Event* mNext = nullptr;
    const void* mOwner = nullptr;
    size_t mBytes = 0;
    uint64_t mNumber = 0;
    // The events that were refused between this one and the next.
    Missing mMissing;
    // Whether it counts towards the bounds.
    bool mBounded = false;
};

template <typename Task>
class TaskEvent final : public Event {
public:
    explicit TaskEvent(Task task) : mTask(std::move(task)) {}
    void run() override { mTask(); }

private:
    Task mTask;
};

// Null when there is no memory.
template <typename Task>
std::unique_ptr<Event> makeEvent(Task&& task) {
    using Made = TaskEvent<std::decay_t<Task>>;
    return std::unique_ptr<Event>(new (std::nothrow) Made(std::forward<Task>(task)));
}

// Events in their order. Adding one needs no memory.
class EventList {
public:
    EventList() = default;
    EventList(EventList&& other) noexcept
        : mFirst(std::exchange(other.mFirst, nullptr)),
          mLast(std::exchange(other.mLast, nullptr)) {}
    EventList& operator=(EventList&& other) noexcept {
        std::swap(mFirst, other.mFirst);
        std::swap(mLast, other.mLast);
        return *this;
    }
    EventList(const EventList&) = delete;
    EventList& operator=(const EventList&) = delete;
    ~EventList() {
        while (mFirst != nullptr)
            pop();
    }

    Event* first() const { return mFirst; }
    Event* last() const { return mLast; }

    void push(std::unique_ptr<Event> event) noexcept {
        Event* added = event.release();
        added->mNext = nullptr;
        (mLast == nullptr ? mFirst : mLast->mNext) = added;
        mLast = added;
    }

    std::unique_ptr<Event> pop() noexcept {
        std::unique_ptr<Event> popped(mFirst);
        mFirst = mFirst->mNext;
        if (mFirst == nullptr) mLast = nullptr;
        return popped;
    }

private:
    Event* mFirst = nullptr;
    Event* mLast = nullptr;
};

// The core of an EventQueue. It is shared, so that a dispatch that is under way survives its queue.
class QueueCore {
public:
    QueueCore(size_t maxEvents, size_t maxBytes)
        : mMaxEvents(maxEvents), mMaxBytes(maxBytes), mFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (mFd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~QueueCore() { ::close(mFd); }
    QueueCore(const QueueCore&) = delete;
    QueueCore& operator=(const QueueCore&) = delete;

    int fd() const { return mFd; }

    // Adds an event, which drop(owner) can remove. When there is no room for it, or when it is null
    // because there was no memory, the event is counted as refused, and the result is false. Also
    // false when the queue is closed.
    bool postBounded(std::unique_ptr<Event> event, const void* owner, size_t bytes) noexcept {
        const std::lock_guard lock(mLock);
        if (mClosed) return false;
        ++mPosted;
        const bool fits = mEvents < mMaxEvents && bytes <= mMaxBytes - mBytes;
        const bool posted = fits && event != nullptr;
        if (posted) {
            ++mEvents;
            mBytes += bytes;
            event->mOwner = owner;
            event->mBytes = bytes;
            event->mBounded = true;
            push(std::move(event));
        } else {
            missingAtEnd().add({1, mPosted});
        }
        signal();
        return posted;
    }

    // Adds an event to which the bounds do not apply.
    void postEvent(std::unique_ptr<Event> event) noexcept {
        const std::lock_guard lock(mLock);
        if (mClosed) return;
        ++mPosted;
        push(std::move(event));
        signal();
    }

    // The same for a task.
    template <typename Task>
    void postTask(Task&& task) {
        using Made = TaskEvent<std::decay_t<Task>>;
        postEvent(std::make_unique<Made>(std::forward<Task>(task)));
    }

    bool closed() {
        const std::lock_guard lock(mLock);
        return mClosed;
    }

    // Runs the events that wait at the moment of the call. Returns how many it has run.
    size_t dispatch() {
        uint64_t last;
        {
            const std::lock_guard lock(mLock);
            last = mPosted;
        }
        size_t count = 0;
        while (dispatchOne(last))
            ++count;
        return count;
    }

    // Runs the next event up to the one with the number `last`, or reports those that are missing
    // in its place. False when there is none. An exception passes through, and the event that has
    // thrown it counts as run.
    bool dispatchOne(uint64_t last = UINT64_MAX) {
        const Dispatching dispatching(mDispatcher);
        std::unique_ptr<Event> event;
        Missing missing;
        {
            const std::lock_guard lock(mLock);
            if (mMissing.count > 0) {
                if (mMissing.first > last) return false;
                missing = std::exchange(mMissing, {});
            } else if (mWaiting.first() != nullptr && mWaiting.first()->mNumber <= last) {
                event = mWaiting.pop();
                settle(*event);
                mMissing = event->mMissing;
            } else {
                return false;
            }
            signal();
        }
        if (event != nullptr) {
            event->run();
        } else {
            mOnOverflow(missing.count);
        }
        return true;
    }

    // Destroys the events that wait for `owner`.
    void drop(const void* owner) {
        EventList dropped;
        const std::lock_guard lock(mLock);
        EventList all = std::move(mWaiting);
        while (all.first() != nullptr) {
            std::unique_ptr<Event> event = all.pop();
            if (event->mOwner != owner) {
                mWaiting.push(std::move(event));
                continue;
            }
            settle(*event);
            missingAtEnd().add(event->mMissing);
            dropped.push(std::move(event));
        }
        signal();
    }

    // Destroys all events and accepts no further ones. On the loop's thread.
    void close() {
        const Handler<size_t> tell = std::exchange(mOnOverflow, {});
        EventList dropped;
        const std::lock_guard lock(mLock);
        mClosed = true;
        mMissing = {};
        dropped = std::move(mWaiting);
        signal();
    }

    // On the loop's thread.
    void onOverflow(std::function<void(size_t)> tell) { mOnOverflow.set(std::move(tell)); }

    // Whether the caller is inside an event that it runs itself.
    bool dispatchedHere() const { return mDispatcher == std::this_thread::get_id(); }

private:
    // A dispatch under way on this thread, which may be inside another one.
    class Dispatching {
    public:
        explicit Dispatching(std::atomic<std::thread::id>& dispatcher)
            : mDispatcher(dispatcher), mBefore(dispatcher.exchange(std::this_thread::get_id())) {}
        ~Dispatching() { mDispatcher = mBefore; }
        Dispatching(const Dispatching&) = delete;
        Dispatching& operator=(const Dispatching&) = delete;

    private:
        std::atomic<std::thread::id>& mDispatcher;
        const std::thread::id mBefore;
    };

    // The operations below are called with the lock held.

    void push(std::unique_ptr<Event> event) noexcept {
        event->mNumber = mPosted;
        mWaiting.push(std::move(event));
    }

    // An event no longer waits: its room is free again.
    void settle(const Event& event) {
        if (event.mBounded) --mEvents;
        mBytes -= event.mBytes;
    }

    // The events that are missing behind the last one that waits.
    Missing& missingAtEnd() {
        return mWaiting.last() == nullptr ? mMissing : mWaiting.last()->mMissing;
    }

    // Makes the descriptor readable if, and only if, something waits.
    void signal() noexcept {
        const bool waiting = mMissing.count > 0 || mWaiting.first() != nullptr;
        if (waiting == mSignalled) return;
        mSignalled = waiting;
        eventfd_t value = 1;
        // Neither of them can fail, since the counter only changes between 0 and 1.
        static_cast<void>(waiting ? eventfd_write(mFd, value) : eventfd_read(mFd, &value));
    }

    const size_t mMaxEvents;
    const size_t mMaxBytes;
    const int mFd;
    // Used on the loop's thread only.
    Handler<size_t> mOnOverflow;
    std::atomic<std::thread::id> mDispatcher{};

    std::mutex mLock;
    // Guarded by the lock.
    bool mClosed = false;
    bool mSignalled = false;
    EventList mWaiting;
    size_t mEvents = 0;
    size_t mBytes = 0;
    uint64_t mPosted = 0;
    // The events that are missing before the first one that waits.
    Missing mMissing;
};

}  // namespace zrmirvo::detail

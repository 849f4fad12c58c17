#pragma once

#include <zrmirvo/ZRMirvo.h>
#include <zrmirvo/ZRMirvoCallback.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "detail/Adapters.h"
#include "detail/QueueCore.h"

namespace zrmirvo {

// Takes events from the library's threads to the thread of an application's own loop.
//
//     zrmirvo::EventQueue queue;
//     zrmirvo::QueuedManagerCallback events(queue, callback);
//     manager->RegisterCallback(&events);                       // in place of `callback`
//     …                                                         // poll(queue.fd(), POLLIN)
//     queue.dispatch();                                         // runs callback.onAttach(7)
//     …
//     manager->UnregisterCallback(&events);                     // before `events` goes
//
// Threads: post() and the adapters are thread-safe. fd(), dispatch(), onOverflow() and the
// destructor serve one thread at a time, that of the loop; all events run on it. The destructor may
// also run inside an event: then the dispatch that is under way runs nothing more and returns.
//
// Ownership: the queue owns the descriptor and the tasks that wait in it. What still waits when the
// queue goes is destroyed without being run.
//
// No event is lost, doubled or reordered while the bounds are kept.
class EventQueue {
public:
    // How much may wait: events, and bytes of their data.
    struct Bounds {
        size_t events;  ///< As many.
        size_t bytes;   ///< As many of their data.
    };

    // Throws std::system_error when there is no descriptor to be had.
    explicit EventQueue(Bounds bounds = {16384, size_t{8} << 20})
        : mCore(std::make_shared<detail::QueueCore>(bounds.events, bounds.bytes)) {}
    ~EventQueue() { mCore->close(); }
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Is readable while something waits, for poll, epoll and whatever is built on them. It is
    // level-triggered: it stays readable until dispatch() has run everything. Neither read nor
    // close it. Valid as long as the queue.
    int fd() const noexcept { return mCore->fd(); }

    // Runs what waited when it was called, one event at a time, and returns how many that were, the
    // calls of onOverflow included. Never waits. May be called inside an event, and then runs what
    // waits behind that one. An exception of an event ends it and passes through; the events behind
    // that one wait for the next dispatch.
    size_t dispatch() {
        const std::shared_ptr<detail::QueueCore> core = mCore;
        return core->dispatch();
    }

    // Adds `task`, a callable without arguments, which counts as `bytes` bytes. Never waits. False
    // when the queue is full or there is no memory; the task is then destroyed at once.
    template <typename Task>
    bool post(Task&& task, size_t bytes = 0) {
        return mCore->postBounded(detail::makeEvent(std::forward<Task>(task)), nullptr, bytes);
    }

    // Has `tell` run with the number of events that were refused, in the place where they would
    // have run. Needs no room in the queue. Null for none, as at first.
    void onOverflow(std::function<void(size_t count)> tell) { mCore->onOverflow(std::move(tell)); }

private:
    friend class QueuedManagerCallback;
    friend class QueuedCallback;

    const std::shared_ptr<detail::QueueCore> mCore;
};

// Registered with a manager in place of a callback, it takes the manager's events through a queue
// to that callback, on the loop's thread.
//
// Threads: the library calls it on its delivery threads; it never waits and takes no lock but the
// queue's. So a lock of the application may be held while it is unregistered. It is constructed and
// destroyed on the loop's thread.
//
// Ownership: the application owns the adapter and the callback, which is there as long as the
// adapter. The adapter is unregistered, or its manager released, before it is destroyed. What still
// waits for it is dropped with it, so nothing reaches the callback afterwards. It serves one
// manager once: with another one it would mix the events of both.
class QueuedManagerCallback final : public detail::ManagerAdapter<ZRMirvoManagerCallback*> {
public:
    // Takes events through `queue` to `callback`.
    QueuedManagerCallback(EventQueue& queue, ZRMirvoManagerCallback& callback)
        : ManagerAdapter(queue.mCore, &callback) {}
    ~QueuedManagerCallback() { drop(); }
};

// The same for the callback of one instance, which it serves once. It copies what a pointer of an
// event points to; the callback gets a pointer to the copy, which is valid during the call only.
class QueuedCallback final : public detail::PhoneAdapter<ZRMirvoCallback*> {
public:
    // Takes events through `queue` to `callback`.
    QueuedCallback(EventQueue& queue, ZRMirvoCallback& callback)
        : PhoneAdapter(queue.mCore, &callback) {}
    ~QueuedCallback() { drop(); }
};

}  // namespace zrmirvo

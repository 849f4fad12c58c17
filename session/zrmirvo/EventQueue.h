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
//     manager->UnregisterCallback(&events);                     // before `events` is destroyed
//
// Threads: post() and the adapters are thread-safe. fd(), dispatch(), onOverflow() and the
// destructor are for one thread at a time, that of the loop; all events run on it. The destructor
// may also run inside an event: then the dispatch that is under way runs nothing more and returns.
//
// Ownership: the queue owns the descriptor and the tasks that wait in it. Tasks that still wait
// when the queue is destroyed are destroyed without being run.
//
// No event is lost, doubled or reordered as long as the bounds are not exceeded.
class EventQueue {
public:
    // How much may wait in the queue.
    struct Bounds {
        size_t events;  ///< The number of events.
        size_t bytes;   ///< The bytes of their data.
    };

    // Throws std::system_error when the process can open no further descriptor.
    explicit EventQueue(Bounds bounds = {16384, size_t{8} << 20})
        : mCore(std::make_shared<detail::QueueCore>(bounds.events, bounds.bytes)) {}
    ~EventQueue() { mCore->close(); }
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // The descriptor for poll, epoll and the loops that are built on them. It is readable while
    // something waits, and stays so until dispatch() has run everything (level-triggered). Neither
    // read nor close it. It is valid as long as the queue.
    int fd() const noexcept { return mCore->fd(); }

    // Runs the events that wait at the moment of the call, one at a time. Returns how many it has
    // run, the calls of onOverflow included. Never waits. May be called inside an event, and then
    // runs the events behind that one. When an event throws, dispatch() ends with its exception,
    // and the events behind it wait for the next dispatch.
    size_t dispatch() {
        const std::shared_ptr<detail::QueueCore> core = mCore;
        return core->dispatch();
    }

    // Adds `task`, a function object without arguments, which counts as `bytes` bytes. Never waits.
    // False when the queue is full or there is no memory; the task is then destroyed at once.
    template <typename Task>
    bool post(Task&& task, size_t bytes = 0) {
        return mCore->postBounded(detail::makeEvent(std::forward<Task>(task)), nullptr, bytes);
    }

    // Sets the function that dispatch() calls when the queue was full. It gets the number of events
    // that were refused, and runs at the place where they would have run. It needs no room in the
    // queue. With null, as at first, nothing is called.
    void onOverflow(std::function<void(size_t count)> tell) { mCore->onOverflow(std::move(tell)); }

private:
    friend class QueuedManagerCallback;
    friend class QueuedCallback;

    const std::shared_ptr<detail::QueueCore> mCore;
};

// Brings the events of a manager to a callback on the loop's thread. It is registered with the
// manager in place of the callback, and passes the events through a queue.
//
// Threads: the library calls it on its delivery threads. It never waits and takes no lock but the
// queue's, so a lock of the application may be held while it is unregistered. Construct and destroy
// it on the loop's thread.
//
// Ownership: the application owns the adapter and the callback, which must live as long as the
// adapter. Unregister the adapter, or release its manager, before you destroy it. The events that
// still wait for it are dropped then, so nothing reaches the callback afterwards. Register it with
// one manager only, and only once, since it would mix the events of two.
class QueuedManagerCallback final : public detail::ManagerAdapter<ZRMirvoManagerCallback*> {
public:
    // The events go through `queue` to `callback`.
    QueuedManagerCallback(EventQueue& queue, ZRMirvoManagerCallback& callback)
        : ManagerAdapter(queue.mCore, &callback) {}
    ~QueuedManagerCallback() { drop(); }
};

// The same for the callback of one instance. Register it with one instance only, and only once.
// When an event has a pointer, the data behind it is copied, and the callback gets a pointer to the
// copy, which is valid during the call only.
class QueuedCallback final : public detail::PhoneAdapter<ZRMirvoCallback*> {
public:
    // The events go through `queue` to `callback`.
    QueuedCallback(EventQueue& queue, ZRMirvoCallback& callback)
        : PhoneAdapter(queue.mCore, &callback) {}
    ~QueuedCallback() { drop(); }
};

}  // namespace zrmirvo

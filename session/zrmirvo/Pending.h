#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Status.h"
#include "detail/SessionCore.h"

namespace zrmirvo {
namespace detail {

// A request with its result, of which there is one, and with what the application wants to be run
// then.
template <typename T>
class Outcome : public Request, public std::enable_shared_from_this<Outcome<T>> {
public:
    explicit Outcome(std::shared_ptr<SessionCore> session,
                     std::shared_ptr<PhoneState> phone = nullptr)
        : Request(std::move(phone)), mSession(std::move(session)) {}

    void refuse(Status status) override { finish(T(status)); }

    void finish(T result) {
        // Goes after the lock, on the loop's thread: only a session that is closed drops any.
        EventList dropped;
        const std::lock_guard lock(mSession->mLock);
        mResult.emplace(std::move(result));
        if (mSession->mFate == SessionCore::Fate::Closed) {
            dropped = std::move(mContinuations);
        } else {
            while (mContinuations.first() != nullptr)
                mSession->mQueue.postEvent(mContinuations.pop());
        }
        mSession->mEnded.notify_all();
    }

    template <typename Task>
    void then(Task&& task) {
        // Declared before the lock, so that it goes after it where the session is closed.
        std::unique_ptr<Event> event = std::make_unique<Continuation<std::decay_t<Task>>>(
            this->shared_from_this(), std::forward<Task>(task));
        const std::lock_guard lock(mSession->mLock);
        if (mSession->mFate == SessionCore::Fate::Closed) return;
        if (mResult) {
            mSession->mQueue.postEvent(std::move(event));
        } else {
            mContinuations.push(std::move(event));
        }
    }

    T get() {
        mSession->begin();
        if (mSession->mQueue.dispatchedHere()) {
            return T(Status(Status::Code::Refused, "get() would wait inside dispatch()"));
        }
        std::unique_lock lock(mSession->mLock);
        mSession->mEnded.wait(lock, [this] { return mResult.has_value(); });
        return *mResult;
    }

    SessionCore& session() const { return *mSession; }

private:
    template <typename Task>
    class Continuation final : public Event {
    public:
        template <typename From>
        Continuation(std::shared_ptr<Outcome> outcome, From&& task)
            : mOutcome(std::move(outcome)), mTask(std::forward<From>(task)) {}
        // The result does not change any more.
        void run() override { mTask(*mOutcome->mResult); }

    private:
        const std::shared_ptr<Outcome> mOutcome;
        Task mTask;
    };

    const std::shared_ptr<SessionCore> mSession;
    // Guarded by the session's lock.
    std::optional<T> mResult;
    EventList mContinuations;
};

}  // namespace detail

// What becomes of a request: ignored, or looked at with then() or get(). T is Status, or a
// Result for a request that asks for something.
//
// Threads: thread-safe. A small value; copies stand for the same request, and outlive phone and
// session.
template <typename T>
class Pending {
public:
    // Made by Session and Phone only.
    explicit Pending(std::shared_ptr<detail::Outcome<T>> outcome) : mOutcome(std::move(outcome)) {}
    // There is no empty one, so a moved one is a copy.
    Pending(const Pending&) = default;
    // Stands for the other request from here on.
    Pending& operator=(const Pending&) = default;

    // Has `task` run with the result, by dispatch() or run(), once; at the earliest by the next
    // one. Several tasks run in the order in which they were given. Destroyed on the thread that
    // dispatches, save for one that is given after the session has gone, which is destroyed at
    // once.
    template <typename Task>
    void then(Task&& task) const {
        mOutcome->then(std::forward<Task>(task));
    }

    // Waits for the result, for programs without a loop. Needs no dispatch. Blocks until the
    // requests before it have ended and this one, too, each of which waits at most for the request
    // timeout of the library. Inside dispatch() and run() it would hold up what they run: there it
    // answers with Status::Code::Refused, and the request goes on.
    T get() const { return mOutcome->get(); }

private:
    std::shared_ptr<detail::Outcome<T>> mOutcome;
};

}  // namespace zrmirvo

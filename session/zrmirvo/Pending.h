#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Status.h"
#include "detail/SessionCore.h"

namespace zrmirvo {
namespace detail {

// A request, its one result, and the functions that the application has given to then().
template <typename T>
class Outcome : public Request, public std::enable_shared_from_this<Outcome<T>> {
public:
    explicit Outcome(std::shared_ptr<SessionCore> session,
                     std::shared_ptr<PhoneState> phone = nullptr)
        : Request(std::move(phone)), mSession(std::move(session)) {}

    void refuse(Status status) override { finish(T(status)); }

    void finish(T result) {
        // Declared before the lock, so that functions of the application are destroyed without it.
        // Only a closed session drops any, and it is closed on the loop's thread.
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
        // Declared before the lock, so that it is destroyed without it when the session is closed.
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
        // No lock is needed, since a result never changes.
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

// A request that has been made, and whose result comes later. You may ignore it, or get the result
// with then() or get(). T is Status, or a Result for a request that asks for something.
//
// Threads: thread-safe. A small value: copies stand for the same request, and may outlive phone and
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

    // Sets a function for the result. dispatch() or run() calls it once, as soon as there is a
    // result, and never inside this call. Several functions run in the order in which they were
    // given. They are destroyed on the thread that dispatches. A function that is given after the
    // session was destroyed never runs and is destroyed at once.
    template <typename Task>
    void then(Task&& task) const {
        mOutcome->then(std::forward<Task>(task));
    }

    // Waits for the result, in programs without a loop. It needs no dispatch. It blocks until this
    // request and all those before it have ended, each at most for the request timeout of the
    // library. Inside dispatch() and run() it would block the loop: there it returns
    // Status::Code::Refused at once, and the request goes on.
    T get() const { return mOutcome->get(); }

private:
    std::shared_ptr<detail::Outcome<T>> mOutcome;
};

}  // namespace zrmirvo

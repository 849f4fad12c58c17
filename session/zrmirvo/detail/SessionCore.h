#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "../Status.h"
#include "../Types.h"
#include "PhoneState.h"
#include "QueueCore.h"

namespace zrmirvo::detail {

using Clock = std::chrono::steady_clock;

// The time after `pause`, which may be as long as can be said.
inline Clock::time_point after(std::chrono::milliseconds pause) {
    using std::chrono::milliseconds;
    const Clock::time_point now = Clock::now();
    const auto most = std::chrono::duration_cast<milliseconds>(Clock::time_point::max() - now);
    return pause < most ? now + pause : Clock::time_point::max();
}

class Control;
class Touch;

// Something that the session's thread is to do, and that ends once.
class Request {
public:
    // For a phone, or, with null, for the manager.
    explicit Request(std::shared_ptr<PhoneState> phone = nullptr) : mPhone(std::move(phone)) {}
    virtual ~Request() = default;
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    // Makes the calls, on the session's thread. `instance` belongs to the phone.
    virtual void perform(ZRMirvoManager& manager, ZRMirvo* instance) = 0;
    // Ends it without a call.
    virtual void refuse(Status status) = 0;
    // What the session's thread does itself, or null.
    virtual Control* control() { return nullptr; }
    // As a touch, or null.
    virtual Touch* touch() { return nullptr; }
    // Whether `later` is a newer state of the same thing, which this one has taken over. With the
    // lock.
    virtual bool takeOver(Request& /*later*/) { return false; }

    PhoneState* phone() const { return mPhone.get(); }

    // When it is too late to send it. Guarded by the lock.
    Clock::time_point mLatest{};

private:
    const std::shared_ptr<PhoneState> mPhone;
};

// An accessory that has come or gone.
struct Change {
    unsigned int accessoryId;
    bool attached;
};

// What an application's threads, the library's and the session's own share. The lock is never held
// while anything of the application runs or is destroyed, nor during a call of the library.
class SessionCore {
public:
    enum class Fate { Open, SecondSession, VersionMismatch, Closed };
    // Of the service itself, and of events, which is treated alike.
    enum class Loss { None, Service, Overflow };

    SessionCore(const SessionOptions& options, Fate fate)
        : mOptions(options), mQueue(options.events, options.eventBytes), mFate(fate) {
        mChanges.reserve(kMaxChanges);
    }

    // The application is ready: the session's thread may go to work.
    void begin() {
        if (mBegun.load(std::memory_order_acquire)) return;
        const std::lock_guard lock(mLock);
        mBegun.store(true, std::memory_order_release);
        mWake.notify_one();
    }

    // Puts a request at the end of the queue, or merges it into the last one of its phone, or ends
    // it. The request that it has become.
    std::shared_ptr<Request> enqueue(std::shared_ptr<Request> request) {
        const Clock::time_point latest = after(mOptions.longestWait);
        std::unique_lock lock(mLock);
        PhoneState* phone = request->phone();
        std::shared_ptr<Request> last = phone == nullptr ? nullptr : phone->mLast;
        if (mOptions.mergeMoves && last != nullptr && last->takeOver(*request)) {
            last->mLatest = latest;
            return last;
        }
        const bool over = mFate != Fate::Open || (phone != nullptr && phone->mGone);
        if (over || mRequests.size() >= mOptions.requests) {
            const Status status = over ? fateStatus() : Status(Status::Code::QueueFull);
            lock.unlock();
            request->refuse(status);
            return request;
        }
        request->mLatest = latest;
        if (phone != nullptr) phone->mLast = request;
        mRequests.push_back(request);
        mWake.notify_one();
        return request;
    }

    // Takes the first request out of the queue, with the lock.
    std::shared_ptr<Request> dequeue() {
        std::shared_ptr<Request> request = std::move(mRequests.front());
        mRequests.pop_front();
        PhoneState* phone = request->phone();
        if (phone != nullptr && phone->mLast == request) phone->mLast = nullptr;
        return request;
    }

    // From here on every request ends with what `fate` means, those that wait as well.
    void end(Fate fate) {
        std::vector<std::shared_ptr<Request>> waiting;
        std::unique_lock lock(mLock);
        mFate = fate;
        while (!mRequests.empty())
            waiting.push_back(dequeue());
        const Status status = fateStatus();
        lock.unlock();
        for (const auto& request : waiting)
            request->refuse(status);
    }

    // The session's thread has to end.
    void close() {
        const std::lock_guard lock(mLock);
        mClosing = true;
        mWake.notify_one();
    }

    // Whether nothing has come up that has to be done before anything else.
    bool undisturbed() {
        const std::lock_guard lock(mLock);
        return !mClosing && mLoss == Loss::None;
    }

    // The loop has caught up.
    void resume() {
        const std::lock_guard lock(mLock);
        mResumed = true;
        mWake.notify_one();
    }

    // The following are called on delivery threads.

    void changed(Change change) noexcept {
        const std::lock_guard lock(mLock);
        if (mChanges.size() < kMaxChanges) {
            mChanges.push_back(change);
        } else {
            mLoss = Loss::Overflow;
        }
        mWake.notify_one();
    }

    void lose(Loss loss) noexcept {
        const std::lock_guard lock(mLock);
        if (loss > mLoss) mLoss = loss;
        mWake.notify_one();
    }

    struct Handlers {
        Handler<const std::shared_ptr<PhoneState>&> phone;
        Handler<bool> service;
        Handler<const ZRMirvoVersion&> versionMismatch;
    };

    const SessionOptions mOptions;
    QueueCore mQueue;
    // Belong to the loop's thread.
    Handlers mHandlers;
    std::atomic<bool> mStopped{false};

    std::mutex mLock;
    // The session's thread has something to do.
    std::condition_variable mWake;
    // A request has ended.
    std::condition_variable mEnded;
    std::atomic<bool> mBegun{false};

    // Guarded by the lock.
    Fate mFate;
    bool mClosing = false;
    bool mResumed = false;
    Loss mLoss = Loss::None;
    std::vector<Change> mChanges;
    std::deque<std::shared_ptr<Request>> mRequests;

    static constexpr size_t kMaxChanges = 1024;

private:
    Status fateStatus() const {
        switch (mFate) {
            case Fate::SecondSession:
                return Status(Status::Code::SecondSession);
            case Fate::VersionMismatch:
                return Status(Status::Code::VersionMismatch);
            default:
                return Status(Status::Code::Gone);
        }
    }
};

}  // namespace zrmirvo::detail

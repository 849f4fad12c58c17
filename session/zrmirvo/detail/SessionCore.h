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

// The time after `pause`. A pause may be so long that its end cannot be represented.
inline Clock::time_point after(std::chrono::milliseconds pause) {
    using std::chrono::milliseconds;
    const Clock::time_point now = Clock::now();
    const auto most = std::chrono::duration_cast<milliseconds>(Clock::time_point::max() - now);
    return pause < most ? now + pause : Clock::time_point::max();
}

class Control;
class Touch;

// Something that the session's thread has to do. It ends exactly once.
class Request {
public:
    // With null, the request is for the manager.
    explicit Request(std::shared_ptr<PhoneState> phone = nullptr) : mPhone(std::move(phone)) {}
    virtual ~Request() = default;
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    // Makes the calls, on the session's thread. `instance` belongs to the phone.
    virtual void perform(ZRMirvoManager& manager, ZRMirvo* instance) = 0;
    // Ends it without a call.
    virtual void refuse(Status status) = 0;
    // This request as a Control; null when it is none.
    virtual Control* control() { return nullptr; }
    // This request as a Touch; null when it is none.
    virtual Touch* touch() { return nullptr; }
    // True when this request has taken over the newer state in `later`, which then need not be
    // queued. Called with the lock held.
    virtual bool takeOver(Request& /*later*/) { return false; }

    PhoneState* phone() const { return mPhone.get(); }

    // The latest time to send it. Guarded by the lock.
    Clock::time_point mLatest{};

private:
    const std::shared_ptr<PhoneState> mPhone;
};

// An accessory that has come or gone.
struct Change {
    unsigned int accessoryId;
    bool attached;
};

// The state that the threads of the application, of the library and of the session share. The lock
// is never held while functions of the application run or are destroyed, nor during a call of the
// library.
class SessionCore {
public:
    enum class Fate { Open, SecondSession, VersionMismatch, Closed };
    // The service was lost, or events were, which has the same consequences.
    enum class Loss { None, Service, Overflow };

    SessionCore(const SessionOptions& options, Fate fate)
        : mOptions(options), mQueue(options.events, options.eventBytes), mFate(fate) {
        mChanges.reserve(kMaxChanges);
    }

    // The application is ready, so the session's thread may begin its work.
    void begin() {
        if (mBegun.load(std::memory_order_acquire)) return;
        const std::lock_guard lock(mLock);
        mBegun.store(true, std::memory_order_release);
        mWake.notify_one();
    }

    // Puts a request at the end of the queue, merges it into the last one of its phone, or ends it.
    // Returns the request that will be sent.
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

    // From now on every request ends with the status for `fate`, also those that wait.
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

    // Makes the session's thread end.
    void close() {
        const std::lock_guard lock(mLock);
        mClosing = true;
        mWake.notify_one();
    }

    // False when a loss or a close has to be handled before anything else.
    bool undisturbed() {
        const std::lock_guard lock(mLock);
        return !mClosing && mLoss == Loss::None;
    }

    // The loop has dispatched the loss, so the session may look for the service again.
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
    // Used on the loop's thread only.
    Handlers mHandlers;
    std::atomic<bool> mStopped{false};

    std::mutex mLock;
    // Signals that the session's thread has something to do.
    std::condition_variable mWake;
    // Signals that a request has ended.
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

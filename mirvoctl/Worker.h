#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <future>
#include <memory>

namespace mirvoctl {

// A thread that does one job after the other. Threads that post jobs never wait for a request.
//
// Threads: thread-safe.
class Worker {
public:
    using Job = std::function<void()>;

    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Starts the thread, which holds `owner` as long as it runs. After stop(), the thread ends the
    // job that is under way, does `last`, and makes the future that this returns ready.
    std::future<void> start(std::shared_ptr<void> owner, Job last);

    void post(Job job);
    void stop();
    bool stopped() const;

private:
    // Waits for the next job. Returns false when the thread was stopped.
    bool take(Job& job);

    mutable android::Mutex mLock;
    android::Condition mChanged;
    std::deque<Job> mJobs GUARDED_BY(mLock);
    bool mStopped GUARDED_BY(mLock) = false;
};

}  // namespace mirvoctl

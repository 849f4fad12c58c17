#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <future>
#include <memory>

namespace mirvoctl {

// A thread that does one job after the other, so that whoever gives them never waits for a request.
//
// Threads: thread-safe.
class Worker {
public:
    using Job = std::function<void()>;

    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Starts the thread, which keeps `owner`. After the job that is under way when stop() is called
    // comes `last`, and then the future that this returns is ready.
    std::future<void> start(std::shared_ptr<void> owner, Job last);

    void post(Job job);
    void stop();
    bool stopped() const;

private:
    // False when there will be none any more.
    bool take(Job& job);

    mutable android::Mutex mLock;
    android::Condition mChanged;
    std::deque<Job> mJobs GUARDED_BY(mLock);
    bool mStopped GUARDED_BY(mLock) = false;
};

}  // namespace mirvoctl

#include "mirvoctl/Worker.h"

#include <thread>
#include <utility>

namespace mirvoctl {

std::future<void> Worker::start(std::shared_ptr<void> owner, Job last) {
    std::packaged_task<void()> task([this, owner = std::move(owner), last = std::move(last)] {
        for (Job job; take(job);)
            job();
        last();
    });
    std::future<void> end = task.get_future();
    // Detached, since nobody waits for a request that is still under way when the tool ends.
    std::thread(std::move(task)).detach();
    return end;
}

void Worker::post(Job job) {
    android::AutoMutex lock(mLock);
    mJobs.push_back(std::move(job));
    mChanged.signal();
}

void Worker::stop() {
    android::AutoMutex lock(mLock);
    mStopped = true;
    mChanged.signal();
}

bool Worker::stopped() const {
    android::AutoMutex lock(mLock);
    return mStopped;
}

bool Worker::take(Job& job) {
    android::AutoMutex lock(mLock);
    while (mJobs.empty() && !mStopped)
        mChanged.wait(mLock);
    if (mStopped) return false;
    job = std::move(mJobs.front());
    mJobs.pop_front();
    return true;
}

}  // namespace mirvoctl

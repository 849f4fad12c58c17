#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace testing_support {

// Longer than any wait of a test takes, also in an emulated process and under a sanitizer.
constexpr std::chrono::seconds kDeadline(60);

// An event that happens once, for which other threads wait.
class Signal {
public:
    void set() {
        const std::lock_guard lock(mLock);
        mSet = true;
        mChanged.notify_all();
    }

    // False when the event has not happened by the deadline.
    [[nodiscard]] bool wait(std::chrono::milliseconds deadline = kDeadline) {
        std::unique_lock lock(mLock);
        return mChanged.wait_for(lock, deadline, [this] { return mSet; });
    }

private:
    std::mutex mLock;
    std::condition_variable mChanged;
    bool mSet = false;
};

// Holds the first thread that comes to it until another thread opens it.
class Gate {
public:
    [[nodiscard]] bool pass() {
        if (mTaken.exchange(true)) return true;
        mReached.set();
        return mOpen.wait();
    }
    [[nodiscard]] bool isReached() { return mReached.wait(); }
    void open() { mOpen.set(); }

private:
    std::atomic<bool> mTaken{false};
    Signal mReached;
    Signal mOpen;
};

}  // namespace testing_support

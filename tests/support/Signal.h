#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace testing_support {

// Longer than anything here takes on the slowest machine, emulated and under a sanitizer.
constexpr std::chrono::seconds kDeadline(60);

// Something that happens once, and that other threads wait for.
class Signal {
public:
    void set() {
        const std::lock_guard lock(mLock);
        mSet = true;
        mChanged.notify_all();
    }

    // False when it has not happened by the deadline.
    [[nodiscard]] bool wait(std::chrono::milliseconds deadline = kDeadline) {
        std::unique_lock lock(mLock);
        return mChanged.wait_for(lock, deadline, [this] { return mSet; });
    }

private:
    std::mutex mLock;
    std::condition_variable mChanged;
    bool mSet = false;
};

// A place at which the first thread that comes is held until another one lets it go on.
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

#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "tool/StandardOutput.h"

namespace tool {

// What the main thread sleeps on: a condition of which other threads tell it, a file, a time, and
// in any case SIGINT, SIGTERM and the end of standard output.
class Waker {
public:
    using Time = std::chrono::steady_clock::time_point;

    // Takes the two signals over, so make it before any other thread starts.
    explicit Waker(StandardOutput& output);
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    // Has the condition looked at again. From any thread.
    void wake();

    // Waits until `done`. False when the time has passed or interrupted() came first.
    bool waitUntil(const std::function<bool()>& done, std::optional<Time> time = std::nullopt);
    // Waits until `fd` has something to read. False when interrupted() came first.
    bool waitReadable(int fd);

    // Whether the tool is to end: a signal has come, a write to standard output has failed, or its
    // reader has gone.
    bool interrupted() const { return mInterrupted; }

private:
    // Sleeps once; `fd` may be -1. False when the time has passed.
    bool sleep(int fd, std::optional<Time> time);

    StandardOutput& mOutput;
    int mSignals;
    int mEvents;
    bool mInterrupted = false;
    bool mReadable = false;
};

}  // namespace tool

#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "tool/StandardOutput.h"

namespace tool {

// What the main thread sleeps on: a condition of which other threads tell it, a file, a time, and
// in any case SIGINT, SIGTERM and the end of standard output.
//
// Threads: wake() may be called from any thread, everything else from one at a time. One object at
// a time in a process.
class Waker {
public:
    using Time = std::chrono::steady_clock::time_point;

    // Takes the two signals over, whichever thread they reach; the destructor gives them back.
    explicit Waker(StandardOutput& output);
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    // Has the condition looked at again. From any thread.
    void wake();

    // Waits until `done`. False when the time has passed or interrupted() came first.
    bool waitUntil(const std::function<bool()>& done, std::optional<Time> time = std::nullopt);
    // Waits until `fd` has something to read. False when the time has passed or interrupted() came
    // first.
    bool waitReadable(int fd, std::optional<Time> time = std::nullopt);

    // Looks without waiting whether the tool is to end.
    void look();

    // Whether the tool is to end: a signal has come, a write to standard output has failed, or its
    // reader has gone.
    bool interrupted() const { return signal() != 0 || mOutput.failed(); }
    // The signal that came last; 0 when none has come.
    int signal() const;
    // Whether the terminal has sent it, as for Ctrl-C. Then the programs that the tool has started
    // have got it, too.
    bool signalIsFromTerminal() const;

private:
    // Sleeps once; `fd` may be -1. False when the time has passed.
    bool sleep(int fd, std::optional<Time> time);

    StandardOutput& mOutput;
    const int mEvents;
    bool mReadable = false;
};

}  // namespace tool

#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "tool/StandardOutput.h"

namespace tool {

// Lets the main thread sleep until a condition holds, a file can be read or a time is over. SIGINT,
// SIGTERM and the end of standard output always wake it.
//
// Threads: wake() is thread-safe, everything else is for one thread at a time. There is one object
// at a time in a process.
class Waker {
public:
    using Time = std::chrono::steady_clock::time_point;

    // Whether the destructor restores the old handlers, or a signal that comes later has no effect:
    // a tool that is ending anyway then still prints its last lines and ends with its own status.
    enum class Handlers { kRestored, kKept };

    // Handles both signals, whichever thread they reach.
    explicit Waker(StandardOutput& output, Handlers handlers = Handlers::kRestored);
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    // Makes the sleeping thread look at its condition again. Thread-safe.
    void wake();

    // Waits until `done` holds. Returns false when the time was over or interrupted() came first.
    bool waitUntil(const std::function<bool()>& done, std::optional<Time> time = std::nullopt);
    // Waits until `fd` has something to read. Returns false when the time was over or interrupted()
    // came first.
    bool waitReadable(int fd, std::optional<Time> time = std::nullopt);

    // Finds out, without waiting, whether the tool has to end; interrupted() then says so.
    void look();

    // Whether the tool has to end: a signal has come, a write to standard output has failed, or its
    // reader has gone.
    bool interrupted() const { return signal() != 0 || mOutput.failed(); }
    // Returns the signal that came last; 0 when none has come.
    int signal() const;
    // Whether the terminal has sent this signal, as for Ctrl-C. In that case the programs that the
    // tool has started have received it, too.
    bool signalIsFromTerminal() const;

private:
    // Sleeps once; `fd` may be -1. Returns false when the time is over.
    bool sleep(int fd, std::optional<Time> time);

    StandardOutput& mOutput;
    const Handlers mHandlers;
    const int mEvents;
    bool mReadable = false;
};

}  // namespace tool

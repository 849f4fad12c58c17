#pragma once

#include <sys/types.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tool/Waker.h"

namespace emulator {

// The program that the emulator runs, which is to find the service. It does not outlive the
// emulator, however that ends.
//
// Threads: one at a time.
class Application {
public:
    using Clock = std::chrono::steady_clock;

    // How long it may take to end after it was asked to.
    static constexpr std::chrono::milliseconds kPatience{5000};

    explicit Application(tool::Waker& waker) : mWaker(waker) {}
    ~Application() { end(false); }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // Has it write its standard output to the descriptor `output`. Answers the reason when it
    // cannot be run, otherwise nothing. The thread that calls this is the one whose end ends the
    // program.
    std::string start(const std::vector<std::string>& command, int output);
    // Whether it was started.
    bool exists() const { return mProcess > 0; }
    // Since when it has ended by itself; nothing while it runs. The waker is woken at that moment.
    std::optional<Clock::time_point> endedAt();
    // Whether it has ended by a signal or with a status that is not 0.
    bool hasFailed();

    struct End {
        // Its exit status, or 128 and the number of the signal that killed it.
        int status;
        // It died of the SIGTERM by which it was asked to end.
        bool obeyed;
        // It did not end when it was asked to, and was killed.
        bool killed;
    };
    // Makes it end if it has not: by SIGTERM, unless it `knows` by a signal of its own, and after
    // kPatience by SIGKILL. Only when it exists.
    End end(bool knows);

    // For sentences: the command and the process, and what has become of it.
    const std::string& name() const { return mName; }
    std::string fate();

private:
    bool waitForEnd();

    tool::Waker& mWaker;
    std::string mName;
    pid_t mProcess = -1;
    // Nothing before it was waited for.
    std::optional<End> mEnd;
    std::thread mWatch;

    android::Mutex mLock;
    android::Condition mChanged;
    std::optional<Clock::time_point> mEndedAt GUARDED_BY(mLock);
    // How it has ended: its status, or the number of the signal that killed it.
    bool mExited GUARDED_BY(mLock) = false;
    int mStatus GUARDED_BY(mLock) = 0;
};

}  // namespace emulator

#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <thread>

#include "tool/OutputStream.h"

namespace emulator {

// The lines on their way to standard output or standard error. A thread of its own writes them, so
// that a reader that is slow, or stopped, never holds up a request. The queue is bounded: when it
// is full, lines are dropped, and a line that tells how many takes their place.
//
// Threads: thread-safe.
class LineQueue {
public:
    // Makes the line that stands for so many dropped ones.
    using Dropped = std::function<std::string(size_t)>;

    // The bytes that may wait.
    static constexpr size_t kLimit = 4u << 20;

    // Whether all lines wait for the thread, which writes many at once, or only those that the
    // reader does not take at once. What others print later then stands behind such a line.
    enum class Writes { kLater, kNowIfTaken };

    LineQueue(tool::OutputStream& output, Writes writes, Dropped dropped);
    ~LineQueue();
    LineQueue(const LineQueue&) = delete;
    LineQueue& operator=(const LineQueue&) = delete;

    // Never waits.
    void put(std::string line);
    // Waits while more than half of the bytes that may wait do, unless `over` or the reader takes
    // nothing. For the thread of the commands, which can produce more than any reader takes.
    void waitForRoom(const std::function<bool()>& over);
    // Waits until everything is written or the reader takes nothing.
    void flush();
    // Writes what is left, as long as the reader takes anything, and ends the thread. Answers how
    // many lines were not written.
    size_t finish();

private:
    // Waits as long as there is progress.
    void waitUntil(const std::function<bool()>& done) REQUIRES(mLock);
    void run();
    // The next lines to be written, as one text. Empty when the queue is to end.
    std::string takeSome() EXCLUDES(mLock);

    tool::OutputStream& mOutput;
    const Writes mWrites;
    const Dropped mDropped;
    // Readable once the thread is to hurry.
    const int mHurry;

    android::Mutex mLock;
    android::Condition mChanged;
    std::deque<std::string> mLines GUARDED_BY(mLock);
    size_t mBytes GUARDED_BY(mLock) = 0;
    size_t mLost GUARDED_BY(mLock) = 0;
    // The lines that are being written, and how often some have been.
    size_t mUnderWay GUARDED_BY(mLock) = 0;
    size_t mRounds GUARDED_BY(mLock) = 0;
    bool mEnding GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace emulator

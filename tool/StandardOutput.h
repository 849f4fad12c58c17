#pragma once

#include <sys/types.h>
#include <utils/Mutex.h>

#include <atomic>
#include <string>
#include <string_view>

namespace tool {

// The status of either tool when its standard output could not be written.
constexpr int kCannotWrite = 5;

// Standard output with every write checked. Both tools write to it through this class only.
//
//     int main(int argc, char** argv) {
//         tool::StandardOutput output;
//         ...
//         return output.exitStatus("mirvoctl", status);
//     }
//
// Once a write has failed, nothing more is written, and a Waker that was given this object stops
// waiting. A reader that has gone, as `head` does, is not an error: the tool ends quietly.
//
// Threads: thread-safe. One object per process; make it first in main(), since it ignores SIGPIPE
// and opens those of the descriptors 0 to 2 that are closed, or the next file opened would be
// mistaken for standard output.
class StandardOutput {
public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // Writes `line` and an end of line at once and in one piece, so that what several processes
    // write to one file stays readable. Waits for a reader that is slow. False when this line or an
    // earlier one could not be written.
    bool writeLine(std::string line);
    // The same for a text that has its ends of lines already.
    bool write(std::string_view text);

    // Whether a write has failed or the reader has gone.
    bool failed() const { return mError != 0; }

    // The status to end with when `status` is the one that the tool would end with otherwise. Says
    // on standard error, behind the name of the tool, what a failed write was.
    int exitStatus(const char* tool, int status) const;

    // For Waker. A descriptor that becomes readable when a write fails.
    int failureFd() const { return mFailure; }
    // For Waker. Asks the descriptor itself, since a reader can go while nothing is written.
    void readerHasGone() { fail(EPIPE); }
    // For Waker. Once `fd`, or -1 for none, is readable, a write waits for a reader only a second
    // longer, so that a tool whose output nobody reads can be ended by a signal.
    void hurryWhenReadable(int fd) { mHurry = fd; }

private:
    bool waitWritable() REQUIRES(mLock);
    bool fail(int error);

    android::Mutex mLock;
    // The most that a write takes without waiting in the middle of it.
    size_t mPiece;
    std::atomic<int> mHurry = -1;
    // 0, or the errno of the write that failed.
    std::atomic<int> mError = 0;
    const int mFailure;
};

}  // namespace tool

#pragma once

#include <sys/types.h>
#include <utils/Mutex.h>

#include <atomic>
#include <string>
#include <string_view>

namespace tool {

// The exit status of a tool when its standard output could not be written.
constexpr int kCannotWrite = 5;

// Standard output with every write checked. The tools write to it through this class only.
//
//     int main(int argc, char** argv) {
//         tool::StandardOutput output;
//         ...
//         return output.exitStatus("mirvoctl", status);
//     }
//
// After a write has failed, nothing more is written, and a Waker that was given this object stops
// waiting. A reader that goes away, as `head` does, is not an error: the tool ends quietly.
//
// Threads: thread-safe. One object per process. Construct it first in main(): it ignores SIGPIPE,
// and it opens /dev/null for each of the descriptors 0 to 2 that is closed. Otherwise the next file
// that is opened would become standard output.
class StandardOutput {
public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // Writes `line` and an end of line at once and in one piece, so that the lines of several
    // processes in one file stay readable. Waits for a slow reader. Returns false when this line
    // or an earlier one could not be written.
    bool writeLine(std::string line);
    // The same for a text that already has its ends of lines.
    bool write(std::string_view text);

    // Whether a write has failed or the reader has gone.
    bool failed() const { return mError != 0; }

    // Returns the exit status of the tool: `status`, or kCannotWrite after a failed write. In that
    // case it also prints the name of the tool and the reason on standard error.
    int exitStatus(const char* tool, int status) const;

    // For Waker. A descriptor that becomes readable when a write fails.
    int failureFd() const { return mFailure; }
    // For Waker. Asks the descriptor itself, since a reader can go away while nothing is written.
    void readerHasGone() { fail(EPIPE); }
    // For Waker. As soon as `fd` (-1 for none) is readable, a write waits for its reader only one
    // second longer. A signal can thereby end a tool whose output nobody reads.
    void hurryWhenReadable(int fd) { mHurry = fd; }

private:
    bool waitWritable() REQUIRES(mLock);
    bool fail(int error);

    android::Mutex mLock;
    // How many bytes are written at once: what a pipe takes in one piece, and no limit for a file.
    size_t mPiece;
    std::atomic<int> mHurry = -1;
    // The errno of the write that failed, or 0.
    std::atomic<int> mError = 0;
    const int mFailure;
};

}  // namespace tool

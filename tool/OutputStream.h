#pragma once

#include <utils/Mutex.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "tool/OwnDescriptor.h"

namespace tool {

// Standard output or standard error, with every write checked. After a write has failed, nothing
// more is written.
//
// Threads: thread-safe. One object per stream.
class OutputStream {
public:
    // `fd` is STDOUT_FILENO or STDERR_FILENO.
    explicit OutputStream(int fd);
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    // Writes `line` and an end of line at once and in one piece, so that the lines of several
    // processes in one file stay readable. Waits for a slow reader. Returns false when this line
    // or an earlier one could not be written.
    bool writeLine(std::string line);
    // The same for a text that already has its ends of lines.
    bool write(std::string_view text);
    // Writes what the reader takes without being waited for. Returns how many bytes these are.
    size_t writeNow(std::string_view text);

    // Whether a write has failed or the reader has gone.
    bool failed() const { return mError != 0; }

    // Has the stream lead from now on to where `fd` leads. Returns false, with errno, when it
    // cannot.
    bool redirect(int fd);

    // As soon as `fd` (-1 for none) is readable, a write waits for its reader only one second
    // longer. A signal can thereby end a tool whose output nobody reads.
    void hurryWhenReadable(int fd) { mHurry = fd; }

protected:
    bool fail(int error);
    // The errno of the write that failed, or 0.
    int error() const { return mError; }
    // A descriptor that becomes readable when a write fails.
    int failure() const { return mFailure; }

private:
    void look() REQUIRES(mLock);
    bool waitWritable() REQUIRES(mLock);
    // Returns how many bytes were written, which can be none.
    size_t writePiece(std::string_view text) REQUIRES(mLock);

    const int mShared;
    android::Mutex mLock;
    OwnDescriptor mFd GUARDED_BY(mLock);
    // How many bytes are written at once: what a pipe takes in one piece, and no limit for a file.
    size_t mPiece GUARDED_BY(mLock) = 0;
    std::atomic<int> mHurry = -1;
    std::atomic<int> mError = 0;
    const int mFailure;
};

}  // namespace tool

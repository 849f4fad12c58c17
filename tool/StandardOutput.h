#pragma once

#include <cerrno>

#include "tool/OutputStream.h"

namespace tool {

// The exit status of a tool when its standard output could not be written.
constexpr int kCannotWrite = 5;

// The tools write to standard output through this class only.
//
//     int main(int argc, char** argv) {
//         tool::StandardOutput output;
//         ...
//         return output.exitStatus("mirvoctl", status);
//     }
//
// After a write has failed, a Waker that was given this object stops waiting. A reader that goes
// away, as `head` does, is not an error: the tool ends quietly.
//
// Threads: thread-safe. One object per process. Construct it first in main(): it ignores SIGPIPE,
// and it opens /dev/null for each of the descriptors 0 to 2 that is closed. Otherwise the next file
// that is opened would become standard output.
class StandardOutput : public OutputStream {
public:
    StandardOutput();

    // Returns the exit status of the tool: `status`, or kCannotWrite after a failed write. In that
    // case it also prints the name of the tool and the reason on standard error.
    int exitStatus(const char* tool, int status) const;

    // For Waker. A descriptor that becomes readable when a write fails.
    int failureFd() const { return failure(); }
    // For Waker. Asks the descriptor itself, since a reader can go away while nothing is written.
    void readerHasGone() { fail(EPIPE); }
};

}  // namespace tool

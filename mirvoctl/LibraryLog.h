#pragma once

#include <string>

namespace mirvoctl {

// The lines that library and framework log. They go to standard error as far as the user wants to
// see them, and what they say about a failure becomes part of the tool's own sentence.
//
// Threads: thread-safe. One per process, made before anything is logged.
class LibraryLog {
public:
    enum class Shown { kNothing, kErrors, kEverything };

    static void show(Shown shown);
    // Leaves out every line until it is called with false: for an attempt that may well fail.
    static void mute(bool muted);

    // The errors since the last call, with "; " between them. Empty when there were none.
    static std::string takeErrors();
    // Why the service has cut this process off since the last call. Empty when it has not.
    static std::string takeCutOffReason();
};

}  // namespace mirvoctl

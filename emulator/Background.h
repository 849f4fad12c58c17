#pragma once

#include <string>

#include "tool/StandardOutput.h"
#include "tool/Waker.h"

namespace emulator {

// Has standard output go to a file, which is made or emptied. `before`, if not null, gets a
// descriptor of where it went. Answers the reason when that cannot be, otherwise nothing.
std::string redirectOutput(tool::StandardOutput& output, const std::string& file, int* before);

// The process that goes on in the background while the one that was started waits until the service
// can be found. Before anything starts a thread.
class Background {
public:
    // Goes on in the background. In the process that was started this does not return: it prints
    // the process id when the service can be found, or ends with the status of an emulator that
    // could not serve. Answers the reason when there is no background, otherwise nothing.
    std::string enter(tool::StandardOutput& output);

    struct Streams {
        tool::StandardOutput& output;
        tool::OutputStream& errors;
        // Standard output goes to a file of its own, and with `errorsToo` standard error is to go
        // there as well.
        bool outputHasFile;
        bool errorsToo;
    };
    // The service can be found. From now on nothing is left of the terminal: what does not go to a
    // file goes to nobody. Returns false when the starter could not tell the process id, so that
    // nobody knows of this service. Does nothing in the foreground.
    bool ready(const Streams& streams, tool::Waker& waker);

private:
    // A socket to the starter: "ready" goes one way, and "told" the other.
    int mStarter = -1;
};

}  // namespace emulator

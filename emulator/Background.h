#pragma once

#include <string>

namespace emulator {

// Has standard output go to a file, which is made or emptied. `before`, if not null, gets a
// descriptor of where it went. Answers the reason when that cannot be, otherwise nothing.
std::string redirectOutput(const std::string& file, int* before);

// The process that goes on in the background while the one that was started waits until the service
// can be found. Before anything starts a thread.
class Background {
public:
    // Goes on in the background. In the process that was started this does not return: it prints
    // the process id when the service can be found, or ends with the status of an emulator that
    // could not serve. Answers the reason when there is no background, otherwise nothing.
    std::string enter();
    // The service can be found. From now on nothing is left of the terminal: standard output goes
    // to nobody, unless it goes to a file of its own. So does standard error, or with `errorsToo`
    // to the same file. Does nothing in the foreground.
    void ready(bool outputHasFile, bool errorsToo);

private:
    int mStarter = -1;
};

}  // namespace emulator

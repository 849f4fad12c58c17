#pragma once

#include <string>

namespace emulator {

// Has standard output go to a file, which is made or emptied. False, with a sentence on standard
// error, when that cannot be.
bool redirectOutput(const std::string& file);

// The process that goes on in the background while the one that was started waits until the service
// can be found. Before anything starts a thread.
class Background {
public:
    // Goes on in the background. In the process that was started this does not return: it prints
    // the process id when the service can be found, or ends with the status of an emulator that
    // could not serve.
    void enter();
    // The service can be found. From now on nothing is left of the terminal: standard error goes
    // where standard output goes. Does nothing in the foreground.
    void ready();

private:
    int mStarter = -1;
};

}  // namespace emulator

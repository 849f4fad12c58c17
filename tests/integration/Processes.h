#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Signal.h"

namespace integration {

// A process that is killed with this object. It writes into the file `output`. ZRMIRVO_RUNNER holds
// the words to start it with.
class Process {
public:
    Process(std::vector<std::string> words, const std::string& output);
    ~Process() { kill(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void tell(const std::string& line);
    // Returns when the process does nothing any more.
    void stop();
    void resume();
    void kill();

private:
    pid_t mPid = -1;
    int mInput = -1;
};

// Where the services of one test are found.
class ServiceTest : public testing::Test {
protected:
    ServiceTest();
    ~ServiceTest() override;

    // Starts the emulator, with accessories 7 and 8.
    void startEmulator() { startEmulator(mDirectory); }
    // Starts the emulator and puts the relay in front of it.
    void startRelay(const std::string& fault, int number);

    std::unique_ptr<Process> mEmulator;
    std::unique_ptr<Process> mRelay;

private:
    void startEmulator(const std::string& directory);

    const std::string mDirectory;
};

// Waits until `condition` holds, at most as long as a test may take.
bool eventually(const std::function<bool()>& condition);

}  // namespace integration

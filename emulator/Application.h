#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "tool/Waker.h"

namespace emulator {

// The program that the emulator runs, which is to find the service.
class Application {
public:
    Application() = default;
    ~Application() { end(); }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // Answers the reason when it cannot be run, otherwise nothing.
    std::string start(const std::vector<std::string>& command);
    // Waits until it has ended or the time is up. Its exit status, or 128 and the number of the
    // signal that killed it; nothing when `waker` was interrupted or the time was up first.
    std::optional<int> wait(tool::Waker& waker, std::optional<tool::Waker::Time> until);

private:
    // Asks it to end, and makes it end if it does not.
    void end();

    pid_t mProcess = -1;
    int mDescriptor = -1;
};

}  // namespace emulator

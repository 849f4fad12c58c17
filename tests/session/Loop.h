#pragma once

#include <poll.h>

#include <chrono>

#include "tests/support/Signal.h"

namespace session_test {

// Waits until the descriptor is readable. False when it is not by the deadline of all tests.
[[nodiscard]] inline bool waitFor(int fd) {
    pollfd entry{fd, POLLIN, 0};
    const std::chrono::milliseconds deadline = testing_support::kDeadline;
    return poll(&entry, 1, static_cast<int>(deadline.count())) == 1;
}

}  // namespace session_test

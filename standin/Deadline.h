#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace accessory::standin {

// The moment until which something may take. Read from the coarse clock, which costs a few
// nanoseconds and is some milliseconds late.
class Deadline {
public:
    explicit Deadline(int milliseconds) : mEnd(now() + milliseconds) {}

    // At least 0.
    int remaining() const { return static_cast<int>(std::max<int64_t>(mEnd - now(), 0)); }

private:
    static int64_t now() {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
    }

    int64_t mEnd;
};

// How long a request may take, in milliseconds: 5000, or what SERVICE_FRAMEWORK_TIMEOUT_MS says.
int requestTimeout();

}  // namespace accessory::standin

#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace accessory::standin {

// The moment at which something has to be over. It uses the coarse clock, which is some
// milliseconds late but takes only a few nanoseconds to read.
class Deadline {
public:
    explicit Deadline(int milliseconds) : mEnd(now() + milliseconds) {}

    // The milliseconds until then, at least 0.
    int remaining() const { return static_cast<int>(std::max<int64_t>(mEnd - now(), 0)); }

private:
    static int64_t now() {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
    }

    int64_t mEnd;
};

// The longest time of a request, in milliseconds: the value of SERVICE_FRAMEWORK_TIMEOUT_MS, or
// 5000.
int requestTimeout();

}  // namespace accessory::standin

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "bench/Process.h"

namespace bench {

// The times of a batch of calls, in nanoseconds.
struct Sample {
    // The time of each call. Empty where calls overlap.
    std::vector<uint32_t> each;
    // The time from the first call to the end of the last, divided by their number.
    double mean = 0;
};

using Batch = std::function<Sample(size_t calls)>;

// A process that runs a batch whenever it is told to.
class Client {
public:
    // `setUp` runs in the process, before its first batch.
    Client(int processor, const std::function<Batch()>& setUp);
    Sample run(size_t calls) const;

private:
    Process mProcess;
};

int64_t now();

// Times each of `calls` calls.
template <typename Call>
Sample timeEach(size_t calls, Call call) {
    Sample sample;
    sample.each.reserve(calls);
    const int64_t begin = now();
    int64_t last = begin;
    for (size_t i = 0; i < calls; ++i) {
        call();
        const int64_t next = now();
        sample.each.push_back(static_cast<uint32_t>(next - last));
        last = next;
    }
    sample.mean = static_cast<double>(last - begin) / static_cast<double>(calls);
    return sample;
}

// Times each of `calls` calls of `call(place)`. `place` goes round from 0 to `places` - 1.
template <typename Call>
Sample timeInTurn(size_t calls, size_t places, Call call) {
    size_t next = 0;
    return timeEach(calls, [&] {
        call(next);
        if (++next == places) next = 0;
    });
}

// Runs `call(thread)` `calls` times in all, on that many threads at once.
Sample timeThreads(size_t calls, size_t threads, const std::function<void(size_t thread)>& call);

}  // namespace bench

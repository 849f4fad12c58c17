#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// What a batch of calls took: each call, in nanoseconds, where calls follow one another, and always
// the time from the first to the last, divided by their number.
struct Sample {
    std::vector<uint32_t> each;
    double mean = 0;
};

using Batch = std::function<Sample(size_t calls)>;

// The processors that this process may use.
std::vector<int> processors();

// A process of its own, bound to one processor. It ends with the object. Made by a process without
// threads only, since it is a copy of it.
class Process {
public:
    // `body` gets a socket to this side and runs until the process is ended. What it throws ends
    // it.
    Process(int processor, const std::function<void(int control)>& body);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    int control() const { return mControl; }
    // Waits until the body has said ready().
    void awaitReady() const;

private:
    int mControl = -1;
    pid_t mPid = -1;
};

void ready(int control);
// Does not return before the process is ended.
void sleepForever();

// A process that runs batches when it is told to.
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

// Times each of `calls` calls of `call(place)`, with 0 to `places` - 1 one after the other.
template <typename Call>
Sample timeInTurn(size_t calls, size_t places, Call call) {
    size_t next = 0;
    return timeEach(calls, [&] {
        call(next);
        if (++next == places) next = 0;
    });
}

// Runs `call(thread)` `calls` times in all, on so many threads at once.
Sample timeThreads(size_t calls, size_t threads, const std::function<void(size_t thread)>& call);

// Ends the process with `what` unless `good`: a measurement of failures is none.
void require(bool good, const char* what);

// What a command prints.
std::string outputOf(const std::string& command);

}  // namespace bench

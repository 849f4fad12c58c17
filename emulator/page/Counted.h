#pragma once

#include <atomic>

namespace emulator::page {

// Counts one activity, such as a stream, for as long as this object exists. `number` says how many
// there were when it began, itself included.
struct Counted {
    explicit Counted(std::atomic<int>& all) : count(all), number(++all) {}
    ~Counted() { --count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    std::atomic<int>& count;
    const int number;
};

}  // namespace emulator::page

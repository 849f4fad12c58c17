#pragma once

#include <atomic>

namespace emulator::page {

// One of those that are doing something now, as long as it exists. `number` says how many they were
// with it.
struct Counted {
    explicit Counted(std::atomic<int>& all) : count(all), number(++all) {}
    ~Counted() { --count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    std::atomic<int>& count;
    const int number;
};

}  // namespace emulator::page

#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/Signal.h"

namespace testing_support {

// Runs work on a thread of its own. The destructor waits for its end.
class Task {
public:
    explicit Task(std::function<void()> work)
        : mThread([this, work = std::move(work)] {
              mId = gettid();
              work();
              mFinished = true;
              mEnd.set();
          }) {}

    // Ends the program when the work does not end, since the test cannot go on without that thread.
    ~Task() {
        if (!mEnd.wait()) {
            fprintf(stderr, "a thread hangs\n");
            std::abort();
        }
        mThread.join();
    }

    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    [[nodiscard]] bool finishes() { return mEnd.wait(); }

    // Waits until the work has been asleep for a good while; then it waits for something. False
    // when the work has ended.
    [[nodiscard]] bool waits() {
        constexpr int kSamples = 200;
        for (int asleep = 0; asleep < kSamples; asleep = sleeping() ? asleep + 1 : 0) {
            if (mFinished) return false;
            std::this_thread::yield();
        }
        return !mFinished;
    }

private:
    bool sleeping() const {
        if (mId == 0) return false;
        std::ifstream file("/proc/self/task/" + std::to_string(mId) + "/stat");
        std::string line;
        std::getline(file, line);
        const size_t name = line.rfind(')');
        return name != std::string::npos && line.compare(name, 3, ") S") == 0;
    }

    std::atomic<pid_t> mId{0};
    std::atomic<bool> mFinished{false};
    Signal mEnd;
    std::thread mThread;
};

}  // namespace testing_support

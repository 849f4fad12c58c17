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

// Something that runs on a thread of its own until the task goes.
class Task {
public:
    explicit Task(std::function<void()> work)
        : mThread([this, work = std::move(work)] {
              mId = gettid();
              work();
              mFinished = true;
              mEnd.set();
          }) {}

    // Ends the program when the work does not end: there is no going on from there.
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

    // Whether the work waits for something, which it then has done for a good while; false when it
    // has come to its end.
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

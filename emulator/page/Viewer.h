#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "recording/Timeline.h"

namespace emulator::page {

// Reads one recording that was sent by a page, and tells it as lines of JSON: batches of rows as
// arrays, and at the end an object. It is read on a thread of its own that gives way to every other
// one, so that the service is as quick as without. One thread at a time.
class Viewer {
public:
    static constexpr size_t kMaxBytes = 64u << 20;
    // As many as the table of a page keeps.
    static constexpr size_t kMaxRows = 200'000;

    explicit Viewer(std::unique_ptr<std::stringstream> file);
    // Stops to read.
    ~Viewer();
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    // The next line. Waits for it. Empty when there are no more.
    std::string next();

private:
    void run();
    void tell(const recording::Timeline& timeline);
    // Waits until there is room. False when nobody wants more.
    bool put(const recording::Json& line);

    std::unique_ptr<std::stringstream> mFile;  // of the thread
    android::Mutex mLock;
    android::Condition mChanged;
    std::deque<std::string> mLines GUARDED_BY(mLock);
    bool mDone GUARDED_BY(mLock) = false;
    bool mUnwanted GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace emulator::page

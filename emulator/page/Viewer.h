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

// Reads one recording that a page has sent, and writes it as lines of JSON: each line is an array
// of rows, and the last one an object. A thread of the lowest priority reads it, so that it does
// not slow down the service. One thread at a time.
class Viewer {
public:
    static constexpr size_t kMaxBytes = 64u << 20;
    // The most rows that are written, which are as many as the table of a page keeps.
    static constexpr size_t kMaxRows = 200'000;

    explicit Viewer(std::unique_ptr<std::stringstream> file);
    // Stops reading.
    ~Viewer();
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    // Waits for the next line and returns it; empty when there are no more.
    std::string next();

private:
    void run();
    void tell(const recording::Timeline& timeline);
    // Waits until there is room. Returns false when nobody wants further lines.
    bool put(const recording::Json& line);

    std::unique_ptr<std::stringstream> mFile;  // used by mThread only
    android::Mutex mLock;
    android::Condition mChanged;
    std::deque<std::string> mLines GUARDED_BY(mLock);
    bool mDone GUARDED_BY(mLock) = false;
    bool mUnwanted GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace emulator::page

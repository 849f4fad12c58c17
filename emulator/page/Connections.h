#pragma once

#include <httplib.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <thread>
#include <vector>

namespace emulator::page {

// The threads that serve connections. Only few connections wait here for a thread. All others wait
// in the system, since each accepted one uses a descriptor that the service's clients may need.
class Connections : public httplib::TaskQueue {
public:
    explicit Connections(size_t threads);

    // Adds a connection. Waits until there is room.
    void enqueue(std::function<void()> serve) override;
    // Serves the connections that were accepted, and ends the threads.
    void shutdown() override;

private:
    static constexpr size_t kMaxWaiting = 32;

    void run();

    android::Mutex mLock;
    android::Condition mChanged;
    std::deque<std::function<void()>> mWaiting GUARDED_BY(mLock);
    bool mOver GUARDED_BY(mLock) = false;
    std::vector<std::thread> mThreads;
};

}  // namespace emulator::page

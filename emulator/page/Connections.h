#pragma once

#include <httplib.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <deque>
#include <functional>
#include <thread>
#include <vector>

namespace emulator::page {

// The threads that serve connections. Few connections wait for one: whoever opens more waits in the
// system, since each that is accepted takes a descriptor from the service's own clients.
class Connections : public httplib::TaskQueue {
public:
    explicit Connections(size_t threads);

    // Waits until there is room.
    void enqueue(std::function<void()> serve) override;
    // Serves those that have been accepted, and ends.
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

// Ends whatever comes and goes through the connections that were accepted at this port of
// 127.0.0.1, so that nobody who sends or takes little by little keeps a thread.
void cutOff(int port);

}  // namespace emulator::page

#include "emulator/page/Connections.h"

namespace emulator::page {

using android::AutoMutex;

Connections::Connections(size_t threads) {
    while (mThreads.size() < threads)
        mThreads.emplace_back([this] { run(); });
}

void Connections::enqueue(std::function<void()> serve) {
    AutoMutex lock(mLock);
    while (mWaiting.size() >= kMaxWaiting)
        mChanged.wait(mLock);
    mWaiting.push_back(std::move(serve));
    mChanged.broadcast();
}

void Connections::shutdown() {
    {
        AutoMutex lock(mLock);
        mOver = true;
        mChanged.broadcast();
    }
    for (std::thread& thread : mThreads)
        thread.join();
}

void Connections::run() {
    for (;;) {
        std::function<void()> serve;
        {
            AutoMutex lock(mLock);
            while (mWaiting.empty() && !mOver)
                mChanged.wait(mLock);
            if (mWaiting.empty()) return;
            serve = std::move(mWaiting.front());
            mWaiting.pop_front();
            mChanged.broadcast();
        }
        serve();
    }
}

}  // namespace emulator::page

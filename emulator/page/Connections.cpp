#include "emulator/page/Connections.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>
#include <system_error>

#include "tool/Text.h"

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

void cutOff(int port) {
    std::error_code error;
    // The library keeps to itself which descriptors it has.
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const auto fd = tool::toNumber<int>(entry.path().filename().string());
        sockaddr_in own = {};
        socklen_t size = sizeof(own);
        const bool known = fd && getsockname(*fd, reinterpret_cast<sockaddr*>(&own), &size) == 0;
        if (known && own.sin_family == AF_INET && ntohs(own.sin_port) == port) {
            ::shutdown(*fd, SHUT_RDWR);
        }
    }
}

}  // namespace emulator::page

#include "standin/NotifyPool.h"

#include <sys/epoll.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "standin/Fork.h"
#include "standin/Log.h"
#include "standin/Thread.h"

namespace accessory::standin {

using android::AutoMutex;

namespace {

// How many threads go on waiting besides the first one. With none, two deliveries at the same time
// would start a thread each time.
constexpr int kSpareThreads = 1;

}  // namespace

NotifyPool& NotifyPool::instance() {
    static auto* pool = new NotifyPool;
    return *pool;
}

void NotifyPool::start() {
    if (failsInForkedChild("the thread pool")) return;
    AutoMutex lock(mMutex);
    mStarted = true;
    ensureWaiter();
}

bool NotifyPool::add(const sp<NotifyChannel>& channel) {
    AutoMutex lock(mMutex);
    if (!mEpoll) mEpoll.reset(epoll_create1(EPOLL_CLOEXEC));
    if (!mEpoll || !watch(channel.get(), EPOLL_CTL_ADD)) {
        logError("cannot wait for notifications: %s", errorText(errno).c_str());
        return false;
    }
    mChannels.emplace(channel->key(), channel);
    ensureWaiter();
    return true;
}

void NotifyPool::remove(const sp<NotifyChannel>& channel) {
    AutoMutex lock(mMutex);
    if (mChannels.erase(channel->key()) > 0) {
        epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, channel->fd(), nullptr);
    }
}

void NotifyPool::wake(const sp<NotifyChannel>& channel) {
    watch(channel.get(), EPOLL_CTL_MOD);
}

bool NotifyPool::watch(const NotifyChannel* channel, int operation) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLONESHOT;
    event.data.u64 = channel->key();
    return epoll_ctl(mEpoll.get(), operation, channel->fd(), &event) == 0;
}

void NotifyPool::ensureWaiter() {
    // Without a channel there is nothing to wait for yet.
    if (!mStarted || !mEpoll || mWaiting > 0) return;
    std::thread thread = startThread([this] { run(); });
    if (!thread.joinable()) return;
    ++mWaiting;
    thread.detach();
}

sp<NotifyChannel> NotifyPool::claim(uint64_t key) {
    AutoMutex lock(mMutex);
    --mWaiting;
    ensureWaiter();
    const auto found = mChannels.find(key);
    return found == mChannels.end() ? nullptr : found->second;
}

bool NotifyPool::rejoin() {
    AutoMutex lock(mMutex);
    if (mWaiting > kSpareThreads) return false;
    ++mWaiting;
    return true;
}

void NotifyPool::run() {
    // Not initialised, so that pages which no datagram reached take no memory.
    const std::unique_ptr<uint8_t[]> buffer(new uint8_t[kMaxDatagram]);
    do {
        epoll_event event;
        while (epoll_wait(mEpoll.get(), &event, 1, -1) != 1) {
        }
        const sp<NotifyChannel> channel = claim(event.data.u64);
        const bool goesOn = channel != nullptr && channel->process(buffer.get());
        // A callback has forked, and this is the child's only thread.
        if (failsInForkedChild("a delivery")) _exit(EXIT_FAILURE);
        if (goesOn) watch(channel.get(), EPOLL_CTL_MOD);
    } while (rejoin());
}

}  // namespace accessory::standin

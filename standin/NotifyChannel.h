#pragma once

#include <utils/Mutex.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/Assembly.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// A client's connection for notifications, and its listeners. The client adds and removes
// listeners. The threads of the pool receive and deliver; the pool makes sure that only one of them
// does so at a time.
//
// Threads: thread-safe, but for process().
class NotifyChannel final : public android::RefBase {
public:
    // `lost` is set before the listeners are told of a loss. The client's requests fail from then
    // on.
    NotifyChannel(const sp<ServiceNotifyFactory>& factory,
                  const std::shared_ptr<std::atomic<bool>>& lost);

    // The result of adding a listener.
    enum class Added { kListening, kEnded, kClosed };

    // kEnded: the other listeners have already been told that the service is lost, so the pool has
    // to process the channel once more for this one. kClosed: the channel cannot be used any more.
    Added add(const sp<ServiceNotifyListener>& listener);
    // True when that was the last listener. Nothing is delivered any more then.
    bool remove(const sp<ServiceNotifyListener>& listener);
    // Removes all listeners and ends the connection. Does not wait, so a call of a listener that
    // has begun may still be running.
    void close();
    bool closed() const { return mClosed; }

    // Sets the connected socket. Called once, before the pool knows the channel.
    void setSocket(UniqueFd fd);
    int fd() const { return mFd.get(); }
    // Reads nothing more: process() only tells the listeners that the service is lost.
    void abandon();

    // Unlike its address, the key of a channel is never used again.
    uint64_t key() const { return mKey; }

    // Receives and delivers all notifications that have come. `buffer` has kMaxDatagram bytes.
    // False when nothing will ever come again. Called by one thread at a time.
    bool process(uint8_t* buffer);

private:
    struct Entry {
        explicit Entry(const sp<ServiceNotifyListener>& which) : listener(which) {}
        const sp<ServiceNotifyListener> listener;
        std::atomic<bool> removed{false};
        bool toldOfLoss = false;  // guarded by the channel's mutex
    };
    // Replaced, never changed, so that a delivery can walk it without a lock.
    using Entries = std::vector<std::shared_ptr<Entry>>;

    // Whether nothing more is to be received or delivered.
    bool over() const;
    bool receive(uint8_t* buffer);
    bool processDatagram(const uint8_t* data, size_t size);
    bool processFrame(const FrameHeader& header, const uint8_t* part);
    void deliver(int32_t type, const uint8_t* content, size_t size);
    void tellLoss();
    std::shared_ptr<Entry> nextToTell();
    std::shared_ptr<const Entries> entries() const;

    const uint64_t mKey;
    const sp<ServiceNotifyFactory> mFactory;
    const std::shared_ptr<std::atomic<bool>> mLost;
    UniqueFd mFd;
    // What follows belongs to the thread that processes. epoll orders the accesses of one such
    // thread before those of the next, but the C++ memory model cannot see that. This atomic makes
    // it explicit.
    std::atomic<bool> mHandedOn{false};
    Assembly mAssembly;
    sp<DeserializationContent> mContent;

    mutable android::Mutex mMutex;
    std::shared_ptr<const Entries> mEntries GUARDED_BY(mMutex);
    bool mEnded GUARDED_BY(mMutex) = false;
    std::atomic<bool> mAbandoned{false};
    std::atomic<bool> mClosed{false};
};

}  // namespace accessory::standin

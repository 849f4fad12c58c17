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

// A client's connection for notifications together with the listeners that they go to. It is shared
// by the client, which adds and removes listeners, and the pool, whose threads receive and deliver;
// the pool sees to it that only one of them does at a time.
//
// Threads: thread-safe, but for process().
class NotifyChannel final : public android::RefBase {
public:
    // `lost` is what the client's requests look at; it is set before the listeners are told.
    NotifyChannel(const sp<ServiceNotifyFactory>& factory,
                  const std::shared_ptr<std::atomic<bool>>& lost);

    // What a listener's attachment led to.
    enum class Added { kListening, kEnded, kClosed };

    // kEnded: the service's loss was already told to those before; the pool has to process the
    // channel again for this one. kClosed: the channel is of no use any more.
    Added add(const sp<ServiceNotifyListener>& listener);
    // True when that was the last one; the channel is closed then.
    bool remove(const sp<ServiceNotifyListener>& listener);
    // Lets go of all listeners and tells the service. Waits for nobody: what has been received
    // already may still reach a listener.
    void close();
    bool closed() const { return mClosed; }

    // The connected socket, from before the pool knows the channel until its end.
    void setSocket(UniqueFd fd);
    int fd() const { return mFd.get(); }
    // Nothing more is to be read: process() only tells the listeners that the service is lost.
    void abandon();

    // Tells this channel from every other that there has been.
    uint64_t key() const { return mKey; }

    // Receives and delivers what there is, `buffer` being kMaxDatagram long. False when nothing
    // will ever come again. Called by one thread at a time.
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

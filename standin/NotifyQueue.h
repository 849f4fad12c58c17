#pragma once

#include <utils/Timers.h>

#include <cstdint>
#include <deque>
#include <vector>

#include "standin/WriteContent.h"

namespace accessory::standin {

// The notifications that wait for one listening client, as datagrams that are ready to be sent. As
// long as the last one has room, the next notification goes into it. So a backlog leaves in few
// datagrams, and one notification alone leaves at once.
//
// Threads: one thread at a time.
class NotifyQueue {
public:
    struct Datagram {
        std::vector<uint8_t> bytes;
        size_t ends = 0;  // the notifications of which it holds the last frame
    };

    void append(FrameHeader header, const WriteContent& content);

    // Whether there is nothing left to take. What was taken and not yet settled still counts in
    // bytes() and notifications().
    bool empty() const { return mDatagrams.empty(); }
    size_t bytes() const { return mBytes; }
    size_t notifications() const { return mNotifications; }
    // When the client last took something, or when the queue began to fill.
    nsecs_t lastProgress() const { return mLastProgress; }

    // The next datagram. Whoever takes it settles it with one of the other two.
    Datagram take();
    void putBack(Datagram datagram);
    void sent(Datagram datagram);

private:
    Datagram& lastWithRoom(size_t size);

    std::deque<Datagram> mDatagrams;
    // One that was sent, kept for its memory.
    Datagram mSpare;
    size_t mBytes = 0;
    size_t mNotifications = 0;
    nsecs_t mLastProgress = 0;
};

}  // namespace accessory::standin

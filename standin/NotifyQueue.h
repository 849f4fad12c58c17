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
        size_t ends = 0;  // how many notifications end in it
    };

    void append(FrameHeader header, const WriteContent& content);

    // Whether there is nothing to take. A datagram that was taken counts in bytes() and
    // notifications() until it is settled.
    bool empty() const { return mDatagrams.empty(); }
    size_t bytes() const { return mBytes; }
    size_t notifications() const { return mNotifications; }
    // When the client last took something, or when the queue began to fill.
    nsecs_t lastProgress() const { return mLastProgress; }

    // Takes the next datagram, which is settled afterwards with one of the other two.
    Datagram take();
    void putBack(Datagram datagram);
    void sent(Datagram datagram);

private:
    Datagram& lastWithRoom(size_t size);

    std::deque<Datagram> mDatagrams;
    // A datagram that was sent. Its memory is used again.
    Datagram mSpare;
    size_t mBytes = 0;
    size_t mNotifications = 0;
    nsecs_t mLastProgress = 0;
};

}  // namespace accessory::standin

#pragma once

#include <sys/socket.h>

#include <memory>

#include "framework/Content.h"
#include "framework/Deadline.h"
#include "framework/Frame.h"

namespace accessory::framework {

enum class IoStatus {
    kOk,
    kClosed,     // the other side has gone
    kTimeout,    // the deadline has passed
    kMalformed,  // what came is no frame, or not the one that has to come next
    kFailed,     // anything else; errno says what
};

// A message that came in. The content belongs to the socket and stays until the next receive().
struct Message {
    FrameHeader header;
    const uint8_t* content = nullptr;
};

// Sends and receives whole messages over a connected sequenced-packet socket, one thread at a time.
// The client's sockets have a deadline, the host's wait as long as it takes.
class FrameSocket {
public:
    // `fd` stays its owner's. A timeout of 0 is none.
    explicit FrameSocket(int fd, int timeout = 0) : mFd(fd), mTimeout(timeout) {}

    // What is sent and received from now on has to be over by `deadline`, which is the socket's
    // timeout from a moment ago.
    void begin(const Deadline& deadline);

    // Fills in the header's length.
    IoStatus send(FrameHeader header, WriteContent& content);
    // A message without content.
    IoStatus send(const FrameHeader& header);
    IoStatus receive(Message& message);

private:
    // A socket option that limits how long a call waits, and what it is set to.
    struct Timer {
        int option;
        int milliseconds;
    };

    IoStatus sendWhole(const void* data, size_t size);
    IoStatus sendParts(FrameHeader header, WriteContent& content);
    IoStatus receiveParts(Message& message);
    bool set(Timer& timer, int milliseconds);
    bool arm(Timer& timer);
    template <typename Call>
    ssize_t timed(Timer& timer, Call call);

    const int mFd;
    const int mTimeout;
    // Nothing has been waited for since begin(): the whole timeout is left, and the clock need not
    // be asked.
    bool mWholeTime = false;
    Deadline mDeadline{0};
    Timer mSendTimer{SO_SNDTIMEO, 0};
    Timer mReceiveTimer{SO_RCVTIMEO, 0};
    // Not initialised, so that pages which no message reached take no memory.
    std::unique_ptr<uint8_t[]> mDatagram{new uint8_t[kMaxDatagram]};
    Assembly mAssembly;
};

}  // namespace accessory::framework

#pragma once

#include <sys/socket.h>

#include <memory>

#include "standin/Content.h"
#include "standin/Deadline.h"
#include "standin/Frame.h"

namespace accessory::standin {

enum class IoStatus {
    kOk,
    kClosed,     // the other side has gone
    kTimeout,    // the deadline has passed
    kMalformed,  // what came is no frame, or not the one that has to come next
    kFailed,     // anything else; errno says what
};

// A message that came in, with the part of its content that came first. It belongs to the socket
// and stays until more is received.
struct Message {
    FrameHeader header;
    const uint8_t* content = nullptr;
    size_t size = 0;
};

// Sends and receives whole messages over a connected sequenced-packet socket, one thread at a time.
// The client's sockets have a deadline, the host's wait as long as it takes.
class FrameSocket final : public ContentRest {
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
    // Leaves what does not fit into the first datagram of a message to whoever reads its content.
    IoStatus receive(Message& message);
    // Receives what nobody has read of the message. Tells whether all parts of it came.
    IoStatus finish() { return missing() == 0 ? mRest : finishRest(); }

    size_t missing() const override { return mNext.length - mNext.offset; }
    size_t nextPart() const override { return partLength(mNext); }
    bool receivePart(uint8_t* dest) override;
    const uint8_t* bufferPart() override;

private:
    // A socket option that limits how long a call waits, and what it is set to.
    struct Timer {
        int option;
        int milliseconds;
    };

    IoStatus sendWhole(const void* data, size_t size);
    IoStatus finishRest();
    IoStatus sendParts(FrameHeader header, WriteContent& content);
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
    // The header of the next part of a message, and what came of those before.
    FrameHeader mNext;
    IoStatus mRest = IoStatus::kOk;
};

}  // namespace accessory::standin

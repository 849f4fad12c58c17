#pragma once

#include <sys/socket.h>

#include <memory>
#include <optional>

#include "standin/Deadline.h"
#include "standin/Frame.h"
#include "standin/ReadContent.h"
#include "standin/WriteContent.h"

namespace accessory::standin {

enum class IoStatus {
    kOk,
    kClosed,     // the other side has closed the connection
    kTimeout,    // the deadline has passed
    kMalformed,  // what came is no frame, or is not the frame that has to come next
    kFailed,     // anything else; errno says what
};

// A message that was received, with the first part of its content. Both belong to the socket and
// stay valid until it receives again.
struct Message {
    FrameHeader header;
    const uint8_t* content = nullptr;
    size_t size = 0;
};

// Sends and receives whole messages over a connected sequenced-packet socket. The client's sockets
// have a deadline; the host's wait as long as it takes.
//
// Threads: one thread at a time.
class FrameSocket final : public ContentRest {
public:
    explicit FrameSocket(int fd) : mFd(fd) {}

    // Everything that is sent and received from now on has to be over by `deadline`.
    void begin(const Deadline& deadline) { mDeadline = deadline; }

    // Fills in the header's length.
    IoStatus send(FrameHeader header, WriteContent& content);
    // A message without content.
    IoStatus send(const FrameHeader& header);
    // Leaves what does not fit into the first datagram of a message to whoever reads its content.
    IoStatus receive(Message& message);
    // Receives the parts of the message that nobody has read. Tells whether all of them came.
    IoStatus finish() { return missing() == 0 ? mRest : finishRest(); }

    size_t missing() const override { return mNext.length - mNext.offset; }
    size_t nextPart() const override { return partLength(mNext); }
    bool receivePart(uint8_t* dest) override;
    const uint8_t* bufferPart() override;

private:
    // The socket option that limits how long a call waits, and its present value. 0 is no limit.
    struct TimeLimit {
        const int option;
        int milliseconds;
    };

    IoStatus sendWhole(const void* data, size_t size);
    IoStatus sendParts(FrameHeader header, WriteContent& content);
    IoStatus finishRest();
    bool apply(TimeLimit& limit);
    template <typename Call>
    ssize_t timed(TimeLimit& limit, Call call);

    const int mFd;
    std::optional<Deadline> mDeadline;
    TimeLimit mSendLimit{SO_SNDTIMEO, 0};
    TimeLimit mReceiveLimit{SO_RCVTIMEO, 0};
    // Not initialised, so that pages which no message reached take no memory.
    std::unique_ptr<uint8_t[]> mDatagram{new uint8_t[kMaxDatagram]};
    // The header of the next part of a message, and what came of those before.
    FrameHeader mNext;
    IoStatus mRest = IoStatus::kOk;
};

}  // namespace accessory::standin

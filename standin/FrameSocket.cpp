#include "standin/FrameSocket.h"

#include <sys/time.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdlib>

namespace accessory::standin {

namespace {

// A time limit is set anew when it is off by more than this, in milliseconds. So most requests need
// no call for it, and the deadline is missed by no more.
constexpr int kTolerance = 10;

IoStatus statusOf(int error) {
    if (error == ETIMEDOUT) return IoStatus::kTimeout;
    return error == EPIPE || error == ECONNRESET ? IoStatus::kClosed : IoStatus::kFailed;
}

iovec part(const void* data, size_t size) {
    return {const_cast<void*>(data), size};
}

}  // namespace

// False with errno set when the deadline has passed or the limit cannot be set.
bool FrameSocket::apply(TimeLimit& limit) {
    if (!mDeadline) return true;
    const int remaining = mDeadline->remaining();
    if (remaining == 0) {
        errno = ETIMEDOUT;
        return false;
    }
    if (limit.milliseconds != 0 && std::abs(limit.milliseconds - remaining) <= kTolerance) {
        return true;
    }
    const timeval time{remaining / 1000, remaining % 1000 * 1000};
    if (setsockopt(mFd, SOL_SOCKET, limit.option, &time, sizeof(time)) != 0) return false;
    limit.milliseconds = remaining;
    return true;
}

template <typename Call>
inline ssize_t FrameSocket::timed(TimeLimit& limit, Call call) {
    for (;;) {
        if (!apply(limit)) return -1;
        const ssize_t result = call();
        // After an interruption, and when the limit ran out, the deadline says whether to go on.
        if (result >= 0 || (errno != EINTR && errno != EAGAIN)) return result;
    }
}

IoStatus FrameSocket::send(FrameHeader header, WriteContent& content) {
    header.length = static_cast<uint32_t>(content.size());
    if (content.size() > kMaxPart || !content.inOnePiece()) return sendParts(header, content);
    std::memcpy(content.frame(), &header, kHeaderSize);
    return sendWhole(content.frame(), kHeaderSize + content.size());
}

IoStatus FrameSocket::send(const FrameHeader& header) {
    return sendWhole(&header, kHeaderSize);
}

IoStatus FrameSocket::sendWhole(const void* data, size_t size) {
    const ssize_t sent = timed(mSendLimit, [&] { return ::send(mFd, data, size, MSG_NOSIGNAL); });
    return sent < 0 ? statusOf(errno) : IoStatus::kOk;
}

IoStatus FrameSocket::sendParts(FrameHeader header, WriteContent& content) {
    while (header.offset < header.length) {
        const size_t length = partLength(header);
        iovec parts[1 + WriteContent::kMaxPieces] = {part(&header, kHeaderSize)};
        msghdr datagram{};
        datagram.msg_iov = parts;
        datagram.msg_iovlen = 1 + content.pieces(header.offset, length, parts + 1);
        if (timed(mSendLimit, [&] { return sendmsg(mFd, &datagram, MSG_NOSIGNAL); }) < 0) {
            return statusOf(errno);
        }
        header.offset += static_cast<uint32_t>(length);
    }
    return IoStatus::kOk;
}

IoStatus FrameSocket::receive(Message& message) {
    if (finish() != IoStatus::kOk) return mRest;
    const ssize_t size =
        timed(mReceiveLimit, [&] { return recv(mFd, mDatagram.get(), kMaxDatagram, MSG_TRUNC); });
    if (size <= 0) return size == 0 ? IoStatus::kClosed : statusOf(errno);
    const auto length = static_cast<size_t>(size);
    FrameHeader& header = message.header;
    if (length > kMaxDatagram || !readHeader(mDatagram.get(), length, header) ||
        header.offset != 0 || partLength(header) != length - kHeaderSize) {
        return IoStatus::kMalformed;
    }
    message.content = mDatagram.get() + kHeaderSize;
    message.size = length - kHeaderSize;
    if (header.length > kMaxPart) {
        mNext = header;
        mNext.offset = static_cast<uint32_t>(message.size);
    }
    return IoStatus::kOk;
}

bool FrameSocket::receivePart(uint8_t* dest) {
    const size_t length = nextPart();
    FrameHeader header;
    iovec parts[] = {part(&header, kHeaderSize), part(dest, length)};
    msghdr datagram{};
    datagram.msg_iov = parts;
    datagram.msg_iovlen = 2;
    const ssize_t size = timed(mReceiveLimit, [&] { return recvmsg(mFd, &datagram, MSG_TRUNC); });
    if (size <= 0) {
        mRest = size == 0 ? IoStatus::kClosed : statusOf(errno);
    } else if (static_cast<size_t>(size) != kHeaderSize + length ||
               std::memcmp(&header, &mNext, kHeaderSize) != 0) {
        mRest = IoStatus::kMalformed;
    }
    mNext.offset =
        mRest == IoStatus::kOk ? mNext.offset + static_cast<uint32_t>(length) : mNext.length;
    return mRest == IoStatus::kOk;
}

const uint8_t* FrameSocket::bufferPart() {
    return receivePart(mDatagram.get()) ? mDatagram.get() : nullptr;
}

IoStatus FrameSocket::finishRest() {
    while (missing() > 0)
        bufferPart();
    return mRest;
}

}  // namespace accessory::standin

#include "standin/FrameSocket.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

namespace accessory::standin {

namespace {

// A socket's timer is set anew when it is off by more than this. The deadline is missed by no more.
constexpr int kTolerance = 10;

// The C library's calls are points at which a thread can be cancelled, and in a process with
// threads each pays for that: one hundredth of a small request. The thread sanitizer has to see
// them, though.
#if defined(__SANITIZE_THREAD__)
ssize_t sendBytes(int fd, const void* data, size_t size, int flags) {
    return send(fd, data, size, flags);
}

ssize_t receiveBytes(int fd, void* data, size_t size, int flags) {
    return recv(fd, data, size, flags);
}
#else
ssize_t sendBytes(int fd, const void* data, size_t size, int flags) {
    return syscall(SYS_sendto, fd, data, size, flags, nullptr, 0);
}

ssize_t receiveBytes(int fd, void* data, size_t size, int flags) {
    return syscall(SYS_recvfrom, fd, data, size, flags, nullptr, nullptr);
}
#endif

IoStatus statusOf(int error) {
    if (error == ETIMEDOUT) return IoStatus::kTimeout;
    return error == EPIPE || error == ECONNRESET ? IoStatus::kClosed : IoStatus::kFailed;
}

iovec part(const void* data, size_t size) {
    return {const_cast<void*>(data), size};
}

}  // namespace

void FrameSocket::begin(const Deadline& deadline) {
    mDeadline = deadline;
    // The first message of a connection has shared its time with the connecting.
    const bool first = mReceiveTimer.milliseconds == 0;
    mWholeTime = !first && (mReceiveTimer.milliseconds == mTimeout || set(mReceiveTimer, mTimeout));
}

bool FrameSocket::set(Timer& timer, int milliseconds) {
    const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
    if (setsockopt(mFd, SOL_SOCKET, timer.option, &time, sizeof(time)) != 0) return false;
    timer.milliseconds = milliseconds;
    return true;
}

bool FrameSocket::arm(Timer& timer) {
    if (mTimeout == 0 || mWholeTime) return true;
    const int remaining = mDeadline.remaining();
    if (remaining == 0) {
        errno = ETIMEDOUT;
        return false;
    }
    const int off = timer.milliseconds - remaining;
    if (timer.milliseconds != 0 && off <= kTolerance && off >= -kTolerance) return true;
    return set(timer, remaining);
}

template <typename Call>
inline ssize_t FrameSocket::timed(Timer& timer, Call call) {
    for (;;) {
        if (!arm(timer)) return -1;
        const ssize_t result = call();
        if (result >= 0) return result;
        // Interrupted, or the timer has run down; the clock says whether there is time left.
        if (errno != EINTR && errno != EAGAIN) return -1;
        mWholeTime = false;
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

inline IoStatus FrameSocket::sendWhole(const void* data, size_t size) {
    if (mWholeTime) {
        // There is nearly always room. Not having waited here means that the receiving may wait as
        // long as its timer is set to anyway.
        if (sendBytes(mFd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) return IoStatus::kOk;
        mWholeTime = false;
    }
    const ssize_t sent =
        timed(mSendTimer, [&] { return sendBytes(mFd, data, size, MSG_NOSIGNAL); });
    return sent < 0 ? statusOf(errno) : IoStatus::kOk;
}

IoStatus FrameSocket::sendParts(FrameHeader header, WriteContent& content) {
    mWholeTime = false;
    while (header.offset < header.length) {
        const size_t length = partLength(header);
        iovec parts[1 + WriteContent::kMaxPieces] = {part(&header, kHeaderSize)};
        msghdr datagram{};
        datagram.msg_iov = parts;
        datagram.msg_iovlen = 1 + content.pieces(header.offset, length, parts + 1);
        if (timed(mSendTimer, [&] { return sendmsg(mFd, &datagram, MSG_NOSIGNAL); }) < 0) {
            return statusOf(errno);
        }
        header.offset += static_cast<uint32_t>(length);
    }
    return IoStatus::kOk;
}

IoStatus FrameSocket::receive(Message& message) {
    if (finish() != IoStatus::kOk) return mRest;
    const ssize_t size = timed(
        mReceiveTimer, [&] { return receiveBytes(mFd, mDatagram.get(), kMaxDatagram, MSG_TRUNC); });
    if (size <= 0) return size == 0 ? IoStatus::kClosed : statusOf(errno);
    // A second datagram, if there is one, has only the rest of the time.
    mWholeTime = false;
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
    const ssize_t size = timed(mReceiveTimer, [&] { return recvmsg(mFd, &datagram, MSG_TRUNC); });
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

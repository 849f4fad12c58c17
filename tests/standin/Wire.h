#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "standin/Client.h"
#include "standin/Frame.h"
#include "tests/standin/TestService.h"

// What tests need that speak for one side of a connection themselves.

namespace accessory::standin {

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline Bytes frame(FrameKind kind, uint32_t sequence, uint32_t length, uint32_t offset = 0,
                   size_t carried = SIZE_MAX, int32_t type = kTestType,
                   uint16_t version = kWireVersion) {
    const FrameHeader header{version, kind, type, sequence, length, offset};
    Bytes bytes(kHeaderSize);
    std::memcpy(bytes.data(), &header, kHeaderSize);
    const size_t part = std::min<size_t>(length - offset, kMaxPart);
    return bytes + Bytes(carried == SIZE_MAX ? part : carried, 0);
}

constexpr uint32_t kTwoParts = kMaxPart + 1;

struct Pair {
    UniqueFd own;
    UniqueFd peer;
};

inline Pair makePair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) abort();
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

inline void sendTo(const UniqueFd& fd, const Bytes& datagram) {
    ASSERT_EQ(send(fd.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(datagram.size()));
}

inline void sendAll(const UniqueFd& fd, const std::vector<Bytes>& datagrams) {
    for (const Bytes& datagram : datagrams) {
        sendTo(fd, datagram);
    }
}

// Empty when the other side has closed.
inline Bytes receiveFrom(const UniqueFd& fd) {
    Bytes bytes(kMaxDatagram);
    const ssize_t size = recv(fd.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return bytes;
}

// Hands out a socket that the test has connected, once.
class Prepared final : public Connector {
public:
    explicit Prepared(UniqueFd socket) : mSocket(std::move(socket)) {}
    UniqueFd connect(const Deadline&, bool& lost) override {
        lost = !mSocket;
        return std::move(mSocket);
    }

private:
    UniqueFd mSocket;
};

inline sp<ServiceClient> clientOf(UniqueFd first, UniqueFd second = {}) {
    return Client::create(new TestInfo, std::make_unique<Prepared>(std::move(second)),
                          std::move(first));
}

}  // namespace accessory::standin

#include "bench/Floor.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

namespace bench {
namespace {

// A longer message is sent in several datagrams. The kernel keeps a datagram of this size in single
// pages, and a larger one not; the stand-in has the same limit.
constexpr size_t kDatagram = 80u << 10;

using Buffer = std::vector<char>;

struct Ends {
    Ends() {
        int fds[2];
        require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) == 0, "socketpair");
        client = fds[0];
        service = fds[1];
    }
    // Both processes have copies.
    ~Ends() {
        close(client);
        close(service);
    }
    Ends(const Ends&) = delete;
    Ends& operator=(const Ends&) = delete;

    int client;
    int service;
};

void sendMessage(int fd, const Buffer& message) {
    for (size_t offset = 0; offset < message.size(); offset += kDatagram) {
        const size_t size = std::min(message.size() - offset, kDatagram);
        require(send(fd, message.data() + offset, size, MSG_NOSIGNAL) > 0, "send");
    }
}

void receiveMessage(int fd, Buffer& message) {
    for (size_t offset = 0; offset < message.size(); offset += kDatagram) {
        const size_t size = std::min(message.size() - offset, kDatagram);
        require(recv(fd, message.data() + offset, size, 0) == static_cast<ssize_t>(size), "recv");
    }
}

void sendBack(int fd, size_t requestSize, size_t replySize) {
    Buffer request(requestSize);
    Buffer reply(replySize);
    for (;;) {
        receiveMessage(fd, request);
        sendMessage(fd, reply);
    }
}

std::unique_ptr<Process> service(int processor, const std::function<void()>& body) {
    return std::make_unique<Process>(processor, [&](int) { body(); });
}

}  // namespace

Pair floorPair(Place place, size_t requestSize, size_t replySize, size_t connections, Use use) {
    const std::vector<Ends> ends(connections);
    Pair pair;
    pair.service = service(place.service, [&] {
        std::vector<std::thread> others;
        for (size_t i = 1; i < connections; ++i)
            others.emplace_back([&, i] { sendBack(ends[i].service, requestSize, replySize); });
        sendBack(ends[0].service, requestSize, replySize);
    });
    pair.client = std::make_unique<Client>(place.client, [&] {
        struct Connection {
            int fd;
            Buffer request, reply;
        };
        std::vector<Connection> all;
        for (const Ends& each : ends)
            all.push_back({each.client, Buffer(requestSize), Buffer(replySize)});
        return Batch([=](size_t calls) mutable {
            const auto call = [&](size_t connection) {
                sendMessage(all[connection].fd, all[connection].request);
                receiveMessage(all[connection].fd, all[connection].reply);
            };
            return use == Use::kAtOnce ? timeThreads(calls, connections, call)
                                       : timeInTurn(calls, connections, call);
        });
    });
    return pair;
}

Pair floorOneWay(Place place, size_t size) {
    const Ends ends;
    Pair pair;
    pair.service = service(place.service, [&] {
        const Buffer datagram(size);
        for (;;) {
            size_t count = 0;
            require(recv(ends.service, &count, sizeof(count), 0) > 0, "recv");
            for (size_t i = 0; i < count; ++i)
                sendMessage(ends.service, datagram);
        }
    });
    pair.client = std::make_unique<Client>(place.client, [&] {
        return Batch([fd = ends.client, datagram = Buffer(size)](size_t calls) mutable {
            const int64_t begin = now();
            require(send(fd, &calls, sizeof(calls), 0) > 0, "send");
            for (size_t i = 0; i < calls; ++i)
                receiveMessage(fd, datagram);
            Sample sample;
            sample.mean = static_cast<double>(now() - begin) / static_cast<double>(calls);
            return sample;
        });
    });
    return pair;
}

Pair floorSingle(Place place, size_t size) {
    const Ends ends;
    Pair pair;
    pair.service = service(place.service, [&] {
        Buffer datagram(size);
        char go;
        for (;;) {
            require(recv(ends.service, &go, sizeof(go), 0) > 0, "recv");
            const int64_t sent = now();
            std::memcpy(datagram.data(), &sent, sizeof(sent));
            sendMessage(ends.service, datagram);
        }
    });
    pair.client = std::make_unique<Client>(place.client, [&] {
        return Batch([fd = ends.client, datagram = Buffer(size)](size_t calls) mutable {
            Sample sample;
            for (size_t i = 0; i < calls; ++i) {
                require(send(fd, "g", 1, 0) > 0, "send");
                receiveMessage(fd, datagram);
                int64_t sent = 0;
                std::memcpy(&sent, datagram.data(), sizeof(sent));
                sample.each.push_back(static_cast<uint32_t>(now() - sent));
            }
            return sample;
        });
    });
    return pair;
}

}  // namespace bench

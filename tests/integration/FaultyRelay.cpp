// Stands between clients and the service and passes everything on, but spoils one exchange.
//
//     faulty_relay DIRECTORY SERVICE FAULT NUMBER
//
// serves in DIRECTORY what the service in the folder SERVICE serves. FAULT befalls the request of
// that number, counted from 1 over all clients:
//
//     die         ends before the request reaches the service
//     truncate    sends only half of the reply
//     tear        sends the first of two frames and ends
//     twice       sends the reply twice
//     stray       sends the reply to a request that nobody made, and not the one to this

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "framework/Frame.h"

namespace {

using accessory::framework::FrameHeader;
using accessory::framework::FrameKind;
using accessory::framework::kHeaderSize;
using accessory::framework::kMaxDatagram;
using accessory::framework::kMaxPart;

std::string gService;
std::string gFault;
int gNumber = 0;
std::atomic<int> gRequests{0};

int openSocket(const std::string& path, sockaddr_un& address) {
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

// As a crash does: without the delay that a sanitizer makes of an exit.
void die() {
    raise(SIGKILL);
}

void sendAll(int fd, const std::vector<uint8_t>& datagram) {
    static_cast<void>(send(fd, datagram.data(), datagram.size(), MSG_NOSIGNAL));
}

void spoil(int client, std::vector<uint8_t> reply) {
    FrameHeader header;
    memcpy(&header, reply.data(), kHeaderSize);
    if (gFault == "truncate") reply.resize(reply.size() / 2);
    if (gFault == "twice") sendAll(client, reply);
    if (gFault == "stray") header.sequence += 1000;
    if (gFault == "tear") {
        header.length = static_cast<uint32_t>(kMaxPart) + 100;
        reply.resize(kMaxDatagram);
    }
    if (gFault != "truncate") memcpy(reply.data(), &header, kHeaderSize);
    sendAll(client, reply);
    if (gFault == "tear") die();
}

// Passes on one datagram. False when there will be no more.
bool pass(int from, int to, bool& spoiled) {
    std::vector<uint8_t> datagram(kMaxDatagram);
    const ssize_t size = recv(from, datagram.data(), datagram.size(), 0);
    if (size <= 0) return false;
    datagram.resize(static_cast<size_t>(size));
    FrameHeader header;
    memcpy(&header, datagram.data(), kHeaderSize);
    if (header.kind == FrameKind::kRequest) {
        spoiled = ++gRequests == gNumber;
        if (spoiled && gFault == "die") die();
    } else if (header.kind == FrameKind::kReply && spoiled) {
        spoiled = false;
        spoil(to, datagram);
        return true;
    }
    sendAll(to, datagram);
    return true;
}

void relay(int client) {
    sockaddr_un address = {};
    const int service = openSocket(gService, address);
    bool spoiled = false;
    if (connect(service, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
        pollfd ends[] = {{client, POLLIN, 0}, {service, POLLIN, 0}};
        bool open = true;
        while (open && poll(ends, 2, -1) > 0) {
            if (ends[0].revents != 0) open = pass(client, service, spoiled);
            if (open && ends[1].revents != 0) open = pass(service, client, spoiled);
        }
    }
    close(service);
    close(client);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    const std::string name = "/mirvo.accessory.manager";
    const std::string path = argv[1] + name;
    gService = argv[2] + name;
    gFault = argv[3];
    gNumber = atoi(argv[4]);
    sockaddr_un address = {};
    // Under a name of its own first, by which clients tell one service from the next.
    const std::string made = path + std::to_string(getpid());
    const int listening = openSocket(made, address);
    if (bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listening, SOMAXCONN) != 0 || rename(made.c_str(), path.c_str()) != 0) {
        perror(path.c_str());
        return 1;
    }
    puts("ready");
    fflush(stdout);
    for (;;) {
        const int client = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) std::thread(relay, client).detach();
    }
}

#include <sys/socket.h>

#include <memory>
#include <utility>

#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "standin/Client.h"
#include "standin/Host.h"
#include "standin/NotifyChannel.h"
#include "tests/fuzz/Input.h"

// Sends arbitrary datagrams to all parts of the stand-in that receive: a client that waits for a
// reply, a client that listens, and the host. When they have read everything, the peer has gone.

namespace {

using namespace accessory;
using standin::Host;
using standin::NotifyChannel;
using standin::UniqueFd;

struct Ends {
    UniqueFd subject;
    UniqueFd peer;
};

// Makes a connected pair in which the input's datagrams, as many as there is room for, wait for the
// subject.
Ends connection(Input& input) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0) abort();
    Ends ends{UniqueFd(fds[0]), UniqueFd(fds[1])};
    while (!input.empty()) {
        const std::vector<uint8_t> datagram = input.block();
        if (datagram.empty()) continue;
        if (send(fds[1], datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) break;
    }
    shutdown(fds[1], SHUT_WR);
    return ends;
}

sp<ServiceInfo> info() {
    static const sp<ServiceInfo> kInfo = new MirvoServiceInfo;
    return kInfo;
}

class NoMore final : public standin::Connector {
public:
    UniqueFd connect(const standin::Deadline&, bool& lost) override {
        lost = true;
        return {};
    }
};

class Listener final : public ServiceNotifyListener {
public:
    void onNotify(sp<ServiceNotify>& notify) override {
        if (notify->type() == ServiceStatusNotify::kType) ++lost;
    }
    int lost = 0;
};

void request(Input& input) {
    Ends ends = connection(input);
    const auto client =
        standin::Client::create(info(), std::make_unique<NoMore>(), std::move(ends.subject));
    for (int i = 0; i < 3; ++i) {
        sp<ServiceItem> item = new MVSItemManagerVersion;
        client->request(item);
    }
}

void listen(Input& input) {
    Ends ends = connection(input);
    const auto lost = std::make_shared<std::atomic<bool>>(false);
    const sp<NotifyChannel> channel = new NotifyChannel(info()->protocol()->notifyFactory(), lost);
    const sp<Listener> listener = new Listener;
    channel->add(listener);
    channel->setSocket(std::move(ends.subject));
    std::vector<uint8_t> buffer(kMaxDatagram);
    while (channel->process(buffer.data())) {
    }
    if (!*lost || listener->lost != 1) abort();
    channel->close();
}

void serve(Input& input) {
    // NOLINTNEXTLINE(modernize-use-auto): named within its own initializer
    static Host* const kHost = new Host(info(), [](ServiceHost::Request& request) {
        kHost->notify(new MVSNotifyManagerCommon);
        if (request.item->type() == MVServiceItem::MANAGER_VERSION) return sp<ServiceReply>();
        return sp<ServiceReply>(new MVSReplyCommon);
    });
    Ends ends = connection(input);
    const int peer = ends.peer.get();
    if (!kHost->adopt(std::move(ends.subject))) abort();
    // The host answers what it can, and must close the connection at the end.
    std::vector<uint8_t> buffer(kMaxDatagram);
    while (recv(peer, buffer.data(), buffer.size(), 0) > 0) {
    }
}

}  // namespace

void fuzz(Input& input) {
    constexpr void (*kSubjects[])(Input&) = {request, listen, serve};
    kSubjects[input.number<uint8_t>() % 3](input);
}

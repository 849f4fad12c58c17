#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "standin/Client.h"
#include "standin/HostConnection.h"
#include "standin/NotifyChannel.h"
#include "tests/fuzz/Input.h"

// Sends arbitrary datagrams to all parts of the stand-in that receive: a client that waits for a
// reply, a client that listens, and a connection of the host. All of them run on the fuzzer's own
// thread. When they have read everything, the peer has gone.

namespace {

using namespace accessory;
using standin::HostConnection;
using standin::NotifyChannel;
using standin::UniqueFd;

struct Ends {
    UniqueFd subject;
    UniqueFd peer;
};

// The next datagram of the input. One that begins a part of a large message is filled up to the
// length of that part, since no input is that long.
std::vector<uint8_t> nextDatagram(Input& input) {
    std::vector<uint8_t> datagram = input.block();
    FrameHeader header;
    if (datagram.size() < kHeaderSize) return datagram;
    std::memcpy(&header, datagram.data(), kHeaderSize);
    if (header.length > kMaxPart && header.length <= kMaxContent && header.offset < header.length) {
        datagram.resize(kHeaderSize + partLength(header));
    }
    return datagram;
}

// Makes a connected pair in which the input's datagrams, as many as there is room for, wait for the
// subject.
Ends connection(Input& input) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0) abort();
    Ends ends{UniqueFd(fds[0]), UniqueFd(fds[1])};
    // Room for all answers, which nobody reads.
    const int room = 1 << 20;
    setsockopt(fds[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
    while (!input.empty()) {
        const std::vector<uint8_t> datagram = nextDatagram(input);
        if (datagram.empty()) continue;
        if (send(fds[1], datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) break;
    }
    shutdown(fds[1], SHUT_WR);
    return ends;
}

// A message that reads in every way. Its block has a bound, because making large ones takes more
// time than everything else here.
template <typename Base>
class Sample final : public Base {
public:
    int32_t type() override { return 1; }
    void serialization(sp<SerializationContent>& content) override { content->writeInt32(1); }
    void deserialization(sp<DeserializationContent>& content) override {
        content->readCString();
        content->readInt64();
        std::vector<uint8_t> block(static_cast<uint32_t>(content->readInt32()) % (kMaxPart + 100));
        content->readBuffer(block.data(), static_cast<int64_t>(block.size()));
        content->readCString();
    }
};

template <typename Base, typename Factory>
class SampleFactory final : public Factory {
public:
    sp<Base> create(int type) override { return type == 1 ? new Sample<Base> : nullptr; }
};

class Info final : public ServiceInfo, public ServiceProtocol {
public:
    const char* servicename() override { return "fuzzed"; }
    sp<ServiceProtocol> protocol() override { return this; }
    sp<ServiceNotifyFactory> notifyFactory() override { return mNotifies; }
    sp<ServiceItemFactory> itemFactory() override { return mItems; }
    sp<ServiceReplyFactory> replyFactory() override { return mReplies; }

private:
    const sp<ServiceNotifyFactory> mNotifies =
        new SampleFactory<ServiceNotify, ServiceNotifyFactory>;
    const sp<ServiceItemFactory> mItems = new SampleFactory<ServiceItem, ServiceItemFactory>;
    const sp<ServiceReplyFactory> mReplies = new SampleFactory<ServiceReply, ServiceReplyFactory>;
};

sp<Info> info() {
    static const sp<Info> kInfo = new Info;
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
        sp<ServiceItem> item = new Sample<ServiceItem>;
        client->request(item);
    }
}

void listen(Input& input) {
    Ends ends = connection(input);
    const auto lost = std::make_shared<std::atomic<bool>>(false);
    const sp<NotifyChannel> channel = new NotifyChannel(info()->notifyFactory(), lost);
    const sp<Listener> listener = new Listener;
    channel->add(listener);
    channel->setSocket(std::move(ends.subject));
    static std::vector<uint8_t> buffer(kMaxDatagram);
    while (channel->process(buffer.data())) {
    }
    if (!*lost || listener->lost != 1) abort();
    channel->close();
}

void serve(Input& input) {
    Ends ends = connection(input);
    HostConnection served(std::move(ends.subject), getpid(), 1);
    served.serve(info()->itemFactory().get(),
                 [](ServiceHost::Request&) { return sp<ServiceReply>(new Sample<ServiceReply>); });
}

}  // namespace

void fuzz(Input& input) {
    constexpr void (*kSubjects[])(Input&) = {request, listen, serve};
    kSubjects[input.number<uint8_t>() % 3](input);
}

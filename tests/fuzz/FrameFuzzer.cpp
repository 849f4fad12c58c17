// The functions of the C library that are replaced below are inline where its checks are on.
#undef _FORTIFY_SOURCE

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "standin/Client.h"
#include "standin/HostConnection.h"
#include "standin/NotifyChannel.h"
#include "tests/fuzz/Input.h"

// Gives arbitrary datagrams to all parts of the stand-in that receive: a client that waits for a
// reply, a client that listens, and a connection of the host. All of them run on the fuzzer's own
// thread. When they have read everything, the peer has gone.

namespace {

using namespace accessory;
using standin::HostConnection;
using standin::NotifyChannel;
using standin::UniqueFd;

// What the peer sends. The stand-in receives it from the functions below, which take the place of
// the C library's: a kernel between them would take more time than the stand-in does.
Input* peer = nullptr;

// Where the length of a message is allowed at all, it is made smaller than this, because making
// room for a large one takes more time than everything else here.
constexpr uint32_t kLongest = 3 * kMaxPart;

// The next datagram of the input. One that begins a part of a large message is filled up to the
// length of that part, since no input is that long.
std::vector<uint8_t> nextDatagram() {
    std::vector<uint8_t> datagram = peer->block();
    if (datagram.size() < kHeaderSize) return datagram;
    FrameHeader header;
    std::memcpy(&header, datagram.data(), kHeaderSize);
    if (header.length > kMaxContent) return datagram;
    header.length %= kLongest;
    std::memcpy(datagram.data(), &header, kHeaderSize);
    if (header.length > kMaxPart && header.offset < header.length) {
        datagram.resize(kHeaderSize + partLength(header));
    }
    return datagram;
}

// An empty block stands for a call that fails.
ssize_t receive(const iovec* places, size_t count) {
    if (peer->empty()) return 0;
    const std::vector<uint8_t> datagram = nextDatagram();
    if (datagram.empty()) {
        constexpr int kErrors[] = {EINTR, EAGAIN, ECONNRESET, EBADF};
        errno = kErrors[peer->number<uint8_t>() % std::size(kErrors)];
        return -1;
    }
    size_t taken = 0;
    for (size_t i = 0; i < count; ++i) {
        const size_t length = std::min(places[i].iov_len, datagram.size() - taken);
        std::memcpy(places[i].iov_base, datagram.data() + taken, length);
        taken += length;
    }
    return static_cast<ssize_t>(datagram.size());
}

// A socket on which nothing is received or sent in truth.
UniqueFd aSocket() {
    static int ends[2] = {-1, -1};
    if (ends[0] < 0 && socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) abort();
    return UniqueFd(dup(ends[0]));
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

void request() {
    const auto client = standin::Client::create(info(), std::make_unique<NoMore>(), aSocket());
    for (int i = 0; i < 3; ++i) {
        sp<ServiceItem> item = new Sample<ServiceItem>;
        client->request(item);
    }
}

void listen() {
    const auto lost = std::make_shared<std::atomic<bool>>(false);
    const sp<NotifyChannel> channel = new NotifyChannel(info()->notifyFactory(), lost);
    const sp<Listener> listener = new Listener;
    channel->add(listener);
    channel->setSocket(aSocket());
    static std::vector<uint8_t> buffer(kMaxDatagram);
    while (channel->process(buffer.data())) {
    }
    if (!*lost || listener->lost != 1) abort();
    channel->close();
}

void serve() {
    HostConnection served(aSocket(), getpid(), 1);
    served.serve(info()->itemFactory().get(),
                 [](ServiceHost::Request&) { return sp<ServiceReply>(new Sample<ServiceReply>); });
}

}  // namespace

extern "C" {

ssize_t recv(int, void* place, size_t size, int) {
    const iovec whole{place, size};
    return receive(&whole, 1);
}

ssize_t recvmsg(int, msghdr* message, int) {
    return receive(message->msg_iov, message->msg_iovlen);
}

ssize_t send(int, const void*, size_t size, int) {
    return static_cast<ssize_t>(size);
}

ssize_t sendmsg(int, const msghdr*, int) {
    return 0;
}

}  // extern "C"

void fuzz(Input& input) {
    peer = &input;
    constexpr void (*kSubjects[])() = {request, listen, serve};
    kSubjects[input.number<uint8_t>() % 3]();
}

#include "standin/Client.h"

#include <sys/socket.h>

#include <cerrno>

#include "standin/Directory.h"
#include "standin/Fork.h"
#include "standin/Log.h"
#include "standin/NotifyPool.h"

namespace accessory::standin {

using android::AutoMutex;

namespace {

// A connection that becomes idle when there are so many idle ones is closed.
constexpr size_t kMaxIdle = 16;

// A connected socket whose other end is closed, as if the service had gone.
UniqueFd endedSocket() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return {};
    close(ends[1]);
    return UniqueFd(ends[0]);
}

// Asks the service to send notifications on a connection, and waits until it has agreed.
bool agreeToListen(int fd, const Deadline& deadline) {
    FrameSocket socket(fd);
    socket.begin(deadline);
    FrameHeader header;
    header.kind = FrameKind::kListen;
    Message answer;
    if (socket.send(header) == IoStatus::kOk && socket.receive(answer) == IoStatus::kOk &&
        answer.header.kind == FrameKind::kListening) {
        return true;
    }
    logError("the service does not accept a listener");
    return false;
}

}  // namespace

sp<ServiceClient> Client::create(const sp<ServiceInfo>& info, std::unique_ptr<Connector> connector,
                                 UniqueFd first) {
    const sp<ServiceProtocol> protocol = info->protocol();
    if (protocol == nullptr || protocol->replyFactory() == nullptr ||
        protocol->notifyFactory() == nullptr) {
        logError("a service without a complete protocol: %s", info->servicename());
        return nullptr;
    }
    if (first && !checkPeer(first.get())) return nullptr;
    return new Client(protocol, std::move(connector), std::move(first));
}

Client::Client(const sp<ServiceProtocol>& protocol, std::unique_ptr<Connector> connector,
               UniqueFd first)
    : mConnector(std::move(connector)),
      mReplyFactory(protocol->replyFactory()),
      mNotifyFactory(protocol->notifyFactory()) {
    noticeForks();
    if (first) giveBack(std::make_unique<RequestConnection>(std::move(first)));
}

Client::~Client() {
    if (inForkedChild()) return;
    const sp<NotifyChannel> listening = channel();
    if (listening == nullptr) return;
    NotifyPool::instance().remove(listening);
    listening->close();
}

sp<ServiceReply> Client::request(sp<ServiceItem>& item) {
    if (item == nullptr) {
        logError("a request without an item");
        return nullptr;
    }
    if (failsInForkedChild("a request")) return nullptr;
    if (mLost->load(std::memory_order_relaxed)) {
        logError("request %d fails: the service is lost", item->type());
        return nullptr;
    }
    const Deadline deadline(mTimeout);
    Connection connection = borrow(deadline);
    if (connection == nullptr) return nullptr;
    sp<ServiceReply> reply = connection->request(*item, *mReplyFactory, deadline);
    if (connection->usable()) giveBack(std::move(connection));
    return reply;
}

Client::Connection Client::borrow(const Deadline& deadline) {
    {
        AutoMutex lock(mMutex);
        if (!mIdle.empty()) {
            Connection connection = std::move(mIdle.back());
            mIdle.pop_back();
            return connection;
        }
    }
    UniqueFd fd = connect(deadline);
    return fd ? std::make_unique<RequestConnection>(std::move(fd)) : nullptr;
}

UniqueFd Client::connect(const Deadline& deadline) {
    bool lost = false;
    UniqueFd fd = mConnector->connect(deadline, lost);
    if (lost) *mLost = true;
    return fd && checkPeer(fd.get()) ? std::move(fd) : UniqueFd();
}

void Client::giveBack(Connection connection) {
    AutoMutex lock(mMutex);
    if (mIdle.size() < kMaxIdle) mIdle.push_back(std::move(connection));
}

sp<NotifyChannel> Client::channel() const {
    AutoMutex lock(mMutex);
    return mChannel;
}

int32_t Client::setNotifyListener(sp<ServiceNotifyListener>& listener) {
    if (listener == nullptr) {
        logError("no listener to set");
        return EINVAL;
    }
    if (failsInForkedChild("setting a listener")) return EPIPE;
    AutoMutex opening(mOpening);
    if (const sp<NotifyChannel> present = channel()) {
        const NotifyChannel::Added added = present->add(listener);
        if (added == NotifyChannel::Added::kEnded) NotifyPool::instance().wake(present);
        if (added != NotifyChannel::Added::kClosed) return *mLost ? EPIPE : 0;
    }
    return openChannel(listener);
}

int32_t Client::openChannel(const sp<ServiceNotifyListener>& listener) {
    const sp<NotifyChannel> fresh = new NotifyChannel(mNotifyFactory, mLost);
    fresh->add(listener);
    {
        // Set before the handshake, so that the listener can be removed while the service is
        // silent.
        AutoMutex lock(mMutex);
        mChannel = fresh;
    }
    const bool agreed = handshake(*fresh);
    // The pool watches the channel even when the handshake failed, since it tells the listener.
    const bool watched = fresh->fd() >= 0 && NotifyPool::instance().add(fresh);
    if (fresh->closed()) {
        NotifyPool::instance().remove(fresh);
        return 0;
    }
    if (agreed && watched) return 0;
    // Without notifications the client is of no use, so its requests fail at once from now on.
    *mLost = true;
    return EPIPE;
}

bool Client::handshake(NotifyChannel& channel) {
    const Deadline deadline(mTimeout);
    UniqueFd fd = *mLost ? UniqueFd() : connect(deadline);
    const bool connected = static_cast<bool>(fd);
    channel.setSocket(connected ? std::move(fd) : endedSocket());
    if (connected && agreeToListen(channel.fd(), deadline)) return true;
    channel.abandon();
    return false;
}

int32_t Client::removeNotifyListener(sp<ServiceNotifyListener>& listener) {
    if (failsInForkedChild("removing a listener")) return EPIPE;
    const sp<NotifyChannel> present = channel();
    if (present == nullptr || !present->remove(listener)) return 0;
    NotifyPool::instance().remove(present);
    present->close();
    AutoMutex lock(mMutex);
    if (mChannel == present) mChannel.clear();
    return 0;
}

}  // namespace accessory::standin

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

// More than these are closed when they become idle.
constexpr size_t kMaxIdle = 16;

// A socket on which the service is already gone.
UniqueFd endedSocket() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return {};
    close(ends[1]);
    return UniqueFd(ends[0]);
}

// Makes a connection one for notifications, and waits until the service has said that it is.
bool agreeToListen(int fd, int timeout, const Deadline& deadline) {
    FrameSocket socket(fd, timeout);
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

Client::Client(const sp<ServiceProtocol>& protocol, std::unique_ptr<Connector> connector,
               UniqueFd first, int timeout)
    : mTimeout(timeout),
      mConnector(std::move(connector)),
      mReplyFactory(protocol->replyFactory()),
      mNotifyFactory(protocol->notifyFactory()) {
    noticeForks();
    if (first) giveBack(std::make_unique<RequestConnection>(std::move(first), mTimeout));
}

Client::~Client() {
    delete mRecent.load();
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
    sp<ServiceReply> reply = connection->exchange(*item, *mReplyFactory, deadline);
    if (connection->usable()) giveBack(std::move(connection));
    return reply;
}

Client::Connection Client::borrow(const Deadline& deadline) {
    if (RequestConnection* recent = mRecent.exchange(nullptr, std::memory_order_acquire)) {
        return Connection(recent);
    }
    {
        AutoMutex lock(mMutex);
        if (!mIdle.empty()) {
            Connection connection = std::move(mIdle.back());
            mIdle.pop_back();
            return connection;
        }
    }
    UniqueFd fd = connect(deadline);
    return fd ? std::make_unique<RequestConnection>(std::move(fd), mTimeout) : nullptr;
}

UniqueFd Client::connect(const Deadline& deadline) {
    bool lost = false;
    UniqueFd fd = mConnector->connect(deadline, lost);
    if (lost) *mLost = true;
    return fd && checkPeer(fd.get()) ? std::move(fd) : UniqueFd();
}

void Client::giveBack(Connection connection) {
    RequestConnection* none = nullptr;
    if (mRecent.compare_exchange_strong(none, connection.get(), std::memory_order_release,
                                        std::memory_order_relaxed)) {
        static_cast<void>(connection.release());
        return;
    }
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
        // Known from now on, so that the listener can be removed again while the service is silent.
        AutoMutex lock(mMutex);
        mChannel = fresh;
    }
    const bool agreed = handshake(*fresh);
    // Even one that was not agreed upon is watched, since that is how its listener is told.
    const bool watched = fresh->fd() >= 0 && NotifyPool::instance().add(fresh);
    if (fresh->closed()) {
        NotifyPool::instance().remove(fresh);
        return 0;
    }
    if (agreed && watched) return 0;
    // One that cannot listen must not wait in vain again: its requests fail from now on.
    *mLost = true;
    return EPIPE;
}

bool Client::handshake(NotifyChannel& channel) {
    const Deadline deadline(mTimeout);
    UniqueFd fd = *mLost ? UniqueFd() : connect(deadline);
    const bool connected = static_cast<bool>(fd);
    channel.setSocket(connected ? std::move(fd) : endedSocket());
    if (connected && agreeToListen(channel.fd(), mTimeout, deadline)) return true;
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

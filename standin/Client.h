#pragma once

#include <utils/Mutex.h>

#include <atomic>
#include <memory>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/FrameSocket.h"
#include "standin/NotifyChannel.h"
#include "standin/ServiceAddress.h"

namespace accessory::standin {

// One connection for requests, with all that a request needs besides its messages. Used by one
// thread at a time, which has borrowed it from the client.
class RequestConnection {
public:
    RequestConnection(UniqueFd fd, int timeout) : mFd(std::move(fd)), mSocket(mFd.get(), timeout) {}

    // Null, with one line in the log, when no reply came.
    sp<ServiceReply> exchange(ServiceItem& item, ServiceReplyFactory& factory,
                              const Deadline& deadline);
    // False once anything has happened after which sender and receiver could disagree.
    bool usable() const { return mUsable; }

private:
    sp<ServiceReply> receiveReply(int32_t itemType, ServiceReplyFactory& factory);
    sp<ServiceReply> makeReply(const Message& message, int32_t itemType,
                               ServiceReplyFactory& factory);
    void fail(const char* doing, int32_t itemType, IoStatus status);

    const UniqueFd mFd;
    FrameSocket mSocket;
    uint32_t mSequence = 0;
    bool mUsable = true;
    sp<SerializationContent> mOut{new WriteContent};
    sp<DeserializationContent> mIn{new ReadContent};
};

// The client side of a binding. Every requesting thread borrows an idle connection, or opens one
// when there is none, and does its exchange alone.
class Client final : public ServiceClient {
public:
    // `first` may be invalid; the connector is asked then.
    Client(const sp<ServiceProtocol>& protocol, std::unique_ptr<Connector> connector,
           UniqueFd first, int timeout);
    ~Client() override;

    sp<ServiceReply> request(sp<ServiceItem>& item) override;
    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override;
    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override;

private:
    using Connection = std::unique_ptr<RequestConnection>;

    Connection borrow(const Deadline& deadline);
    UniqueFd connect(const Deadline& deadline);
    void giveBack(Connection connection);

    sp<NotifyChannel> channel() const;
    int32_t openChannel(const sp<ServiceNotifyListener>& listener);
    bool handshake(NotifyChannel& channel);

    const int mTimeout;
    const std::unique_ptr<Connector> mConnector;
    const sp<ServiceReplyFactory> mReplyFactory;
    const sp<ServiceNotifyFactory> mNotifyFactory;
    // The service is gone, or was never heard when it had to be. Shared with the channel, which may
    // outlive the client for the length of a delivery.
    const std::shared_ptr<std::atomic<bool>> mLost = std::make_shared<std::atomic<bool>>(false);

    // The connection that was used last, owned by the client. Outside the list, so that one thread
    // after the other needs no lock.
    std::atomic<RequestConnection*> mRecent{nullptr};
    mutable android::Mutex mMutex;
    std::vector<Connection> mIdle GUARDED_BY(mMutex);
    sp<NotifyChannel> mChannel GUARDED_BY(mMutex);
    // Held while a channel is being opened, which waits for the service. Taken by nobody who must
    // not wait.
    android::Mutex mOpening;
};

}  // namespace accessory::standin

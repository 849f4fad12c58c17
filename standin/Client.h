#pragma once

#include <utils/Mutex.h>

#include <atomic>
#include <memory>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/Connector.h"
#include "standin/NotifyChannel.h"
#include "standin/RequestConnection.h"

namespace accessory::standin {

// The client side of a binding. Every requesting thread borrows an idle connection, or opens one
// when there is none, and then sends and receives on it alone.
class Client final : public ServiceClient {
public:
    // A client of the service that `info` describes. Its connections come from `connector`, except
    // for the first one when `first` is valid. Null, with one line in the log, when `info` has no
    // complete protocol or the other end of `first` belongs to another user.
    static sp<ServiceClient> create(const sp<ServiceInfo>& info,
                                    std::unique_ptr<Connector> connector, UniqueFd first = {});
    ~Client() override;

    sp<ServiceReply> request(sp<ServiceItem>& item) override;
    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override;
    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override;

private:
    using Connection = std::unique_ptr<RequestConnection>;

    Client(const sp<ServiceProtocol>& protocol, std::unique_ptr<Connector> connector,
           UniqueFd first);

    Connection borrow(const Deadline& deadline);
    UniqueFd connect(const Deadline& deadline);
    void giveBack(Connection connection);

    sp<NotifyChannel> channel() const;
    int32_t openChannel(const sp<ServiceNotifyListener>& listener);
    bool handshake(NotifyChannel& channel);

    const int mTimeout = requestTimeout();
    const std::unique_ptr<Connector> mConnector;
    const sp<ServiceReplyFactory> mReplyFactory;
    const sp<ServiceNotifyFactory> mNotifyFactory;
    // The service is gone, or did not answer when the client wanted to listen. Shared with the
    // channel, because a delivery may still use the channel when the client is gone.
    const std::shared_ptr<std::atomic<bool>> mLost = std::make_shared<std::atomic<bool>>(false);

    mutable android::Mutex mMutex;
    std::vector<Connection> mIdle GUARDED_BY(mMutex);
    sp<NotifyChannel> mChannel GUARDED_BY(mMutex);
    // Held while a channel is being opened, which waits for the service. Only setNotifyListener()
    // takes it, because the other operations must not wait for that.
    android::Mutex mOpening;
};

}  // namespace accessory::standin

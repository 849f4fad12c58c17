#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <list>
#include <string>
#include <thread>

#include "standin/HostConnection.h"
#include "standin/ListeningSocket.h"
#include "standin/NotifySender.h"
#include "standin/ServiceHost.h"

namespace accessory::standin {

// Implements ServiceHost, whose header says what the operations do. Accepts connections and gives
// each a thread. The thread ends when the connection does, or when the client asks to listen on it:
// then the sender takes it over.
class Host {
public:
    Host(const sp<ServiceInfo>& info, ServiceHost::Handler handler,
         ServiceHost::Options options = {});
    ~Host() { stop(); }

    bool start();
    // Requests that have come are answered for at most `farewell` nanoseconds.
    void stop(nsecs_t farewell = kFarewell);

    // Serves a socket that was connected elsewhere. False, with one line in the log, when it is no
    // sequenced-packet socket or its peer belongs to another user.
    bool adopt(UniqueFd fd);

    size_t notify(const sp<ServiceNotify>& notify, pid_t process = kEveryProcess);
    bool disconnect(pid_t process, const std::string& reason) EXCLUDES(mMutex);
    std::vector<ServiceHost::Connection> connections() const EXCLUDES(mMutex);

    NotifySender& sender() { return mSender; }

private:
    static constexpr nsecs_t kFarewell = 1000 * 1000 * 1000;

    void acceptConnections();
    void serve(HostConnection& connection);
    void retire(HostConnection& connection) EXCLUDES(mMutex);
    void shutDown(int how) REQUIRES(mMutex);

    const sp<ServiceInfo> mInfo;
    const sp<ServiceItemFactory> mItemFactory;
    const ServiceHost::Handler mHandler;
    const std::string mDirectory;

    ListeningSocket mListening;
    std::thread mAcceptor;

    mutable android::Mutex mMutex;
    // Signalled when a connection has ended and when the host stops.
    android::Condition mChanged;
    std::list<HostConnection> mConnections GUARDED_BY(mMutex);
    uint32_t mLastNumber GUARDED_BY(mMutex) = 0;
    bool mStopping GUARDED_BY(mMutex) = false;

    NotifySender mSender;
};

}  // namespace accessory::standin

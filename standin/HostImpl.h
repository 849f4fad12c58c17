#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <list>
#include <string>
#include <thread>

#include "standin/Directory.h"
#include "standin/FrameSocket.h"
#include "standin/NotifySender.h"
#include "standin/ServiceHost.h"

namespace accessory {

// Accepts connections and gives each a thread. The thread ends when the connection does, or when it
// turns out to be one for notifications, which the sender takes over.
class ServiceHost::Impl {
public:
    Impl(const sp<ServiceInfo>& info, Handler handler, Options options);
    ~Impl() { stop(); }

    bool start();
    void stop();
    bool adopt(standin::UniqueFd fd);
    void notify(const sp<ServiceNotify>& notify);
    size_t clients() const { return mSender.clients(); }

private:
    using UniqueFd = standin::UniqueFd;

    struct Connection {
        Connection(UniqueFd socket, pid_t process)
            : fd(std::move(socket)), pid(process), frames(fd.get()) {}

        UniqueFd fd;
        const pid_t pid;
        standin::FrameSocket frames;
        sp<SerializationContent> out{new standin::WriteContent};
        sp<DeserializationContent> in{new standin::ReadContent};
    };

    void acceptConnections();
    void serve(Connection& connection);
    bool answer(Connection& connection, const standin::Message& message);
    bool sendReply(Connection& connection, uint32_t sequence, const sp<ServiceReply>& reply);
    bool sendNone(Connection& connection, uint32_t sequence);
    void retire(Connection& connection) EXCLUDES(mMutex);
    void cutOff(pid_t pid) EXCLUDES(mMutex);
    // Ends one or both directions of every connection, for shutdown(2).
    void shutDown(int how) REQUIRES(mMutex);

    const sp<ServiceInfo> mInfo;
    const sp<ServiceItemFactory> mItemFactory;
    const Handler mHandler;
    const std::string mDirectory;

    standin::NameLock mName;
    std::string mPath;
    UniqueFd mListening;
    std::thread mAcceptor;

    android::Mutex mMutex;
    // Signalled when a connection has ended and when the host stops.
    android::Condition mChanged;
    std::list<Connection> mConnections GUARDED_BY(mMutex);
    bool mStopping GUARDED_BY(mMutex) = false;

    standin::NotifySender mSender;
};

}  // namespace accessory

#include "standin/Host.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "standin/Directory.h"
#include "standin/Log.h"
#include "standin/Thread.h"

namespace accessory::standin {

using android::AutoMutex;

namespace {

// How long to wait before accepting again when there was no file descriptor left.
constexpr nsecs_t kAcceptPause = 100 * 1000 * 1000;

sp<ServiceItemFactory> itemFactoryOf(const sp<ServiceInfo>& info) {
    const sp<ServiceProtocol> protocol = info->protocol();
    return protocol == nullptr ? nullptr : protocol->itemFactory();
}

// Whether the socket keeps datagrams apart, as frames require. Its calls wait from now on.
bool isPacketSocket(int fd) {
    int type = 0;
    socklen_t size = sizeof(type);
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET) {
        return fcntl(fd, F_SETFL, 0) == 0;
    }
    logError("descriptor %d is no sequenced-packet socket", fd);
    return false;
}

}  // namespace

Host::Host(const sp<ServiceInfo>& info, ServiceHost::Handler handler, ServiceHost::Options options)
    : mInfo(info),
      mItemFactory(itemFactoryOf(info)),
      mHandler(std::move(handler)),
      mDirectory(options.directory.empty() ? serviceDirectory() : options.directory),
      mSender(
          options.queueLimit,
          [this](pid_t process, const std::string& reason) { disconnect(process, reason); },
          std::move(options.onClientsChanged)) {}

bool Host::start() {
    if (mListening) {
        logError("%s is served already", mInfo->servicename());
        return false;
    }
    if (!mListening.open(mDirectory, mInfo->servicename())) return false;
    mAcceptor = startThread([this] { acceptConnections(); });
    if (!mAcceptor.joinable()) stop();
    return static_cast<bool>(mListening);
}

void Host::stop(nsecs_t farewell) {
    if (mListening) {
        mListening.withdraw();
        {
            AutoMutex lock(mMutex);
            mStopping = true;
            mChanged.broadcast();
        }
        // Wakes the acceptor.
        shutdown(mListening.get(), SHUT_RDWR);
        if (mAcceptor.joinable()) mAcceptor.join();
        mListening.close();
    }
    {
        AutoMutex lock(mMutex);
        // Requests that have come are still answered, but a client that does not read its reply
        // does not hold this up.
        shutDown(SHUT_RD);
        const nsecs_t until = systemTime() + farewell;
        while (!mConnections.empty() && systemTime() < until) {
            mChanged.waitRelative(mMutex, until - systemTime());
        }
        shutDown(SHUT_RDWR);
        while (!mConnections.empty()) {
            mChanged.wait(mMutex);
        }
        mStopping = false;
    }
    // The sender stops last, because connections that begin to listen are handed over to it.
    mSender.stop();
}

void Host::shutDown(int how) {
    for (const HostConnection& connection : mConnections) {
        connection.shutDown(how);
    }
}

void Host::acceptConnections() {
    bool complained = false;
    for (;;) {
        UniqueFd fd(accept4(mListening.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (fd) {
            complained = false;
            adopt(std::move(fd));
            continue;
        }
        const int error = errno;
        {
            AutoMutex lock(mMutex);
            if (mStopping) return;
            if (error == EINTR || error == ECONNABORTED) continue;
            if (!complained) logError("cannot accept clients: %s", errorText(error).c_str());
            complained = true;
            // A client that connects now waits in the socket's queue until there is a descriptor
            // for it.
            mChanged.waitRelative(mMutex, kAcceptPause);
        }
    }
}

bool Host::adopt(UniqueFd fd) {
    pid_t pid = 0;
    if (!isPacketSocket(fd.get()) || !checkPeer(fd.get(), &pid)) return false;
    HostConnection* connection = nullptr;
    {
        AutoMutex lock(mMutex);
        connection = &mConnections.emplace_back(std::move(fd), pid, ++mLastNumber);
    }
    std::thread thread = startThread([this, connection] {
        serve(*connection);
        retire(*connection);
    });
    if (!thread.joinable()) {
        retire(*connection);
        return false;
    }
    thread.detach();
    return true;
}

void Host::serve(HostConnection& connection) {
    if (connection.serve(mItemFactory.get(), mHandler) == HostConnection::End::kOver) return;
    // Locked, so that whoever ends connections finds this one either here or with the sender.
    AutoMutex lock(mMutex);
    mSender.add(connection.takeSocket(), connection.process(), connection.number());
}

void Host::retire(HostConnection& connection) {
    std::list<HostConnection> retired;
    AutoMutex lock(mMutex);
    const auto found =
        std::find_if(mConnections.begin(), mConnections.end(),
                     [&](const HostConnection& other) { return &other == &connection; });
    retired.splice(retired.end(), mConnections, found);
    retired.clear();
    // This is the last access to the host, which may be destroyed when there is no connection left.
    mChanged.broadcast();
}

bool Host::disconnect(pid_t process, const std::string& reason) {
    bool found = false;
    {
        AutoMutex lock(mMutex);
        for (const HostConnection& connection : mConnections) {
            if (connection.process() != process) continue;
            connection.shutDown(SHUT_RDWR);
            found = true;
        }
    }
    // Afterwards, so that a connection on its way to the sender is not missed in both places.
    found = mSender.disconnect(process, reason) || found;
    if (found) logError("process %d is cut off: %s", process, reason.c_str());
    return found;
}

size_t Host::notify(const sp<ServiceNotify>& notify, pid_t process) {
    if (notify != nullptr) return mSender.notify(*notify, process);
    logError("no notification to send");
    return 0;
}

std::vector<ServiceHost::Connection> Host::connections() const {
    AutoMutex lock(mMutex);
    // One that has begun to listen is with the sender, even before its thread has ended here.
    std::vector<ServiceHost::Connection> all = mSender.connections();
    for (const HostConnection& connection : mConnections) {
        if (!connection.isTaken())
            all.push_back({connection.process(), connection.number(), false});
    }
    return all;
}

}  // namespace accessory::standin

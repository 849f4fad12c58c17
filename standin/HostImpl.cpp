#include "standin/HostImpl.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "standin/Log.h"
#include "standin/Thread.h"

namespace accessory {

using android::AutoMutex;
using namespace standin;

namespace {

// How often an accept that found no file descriptor left is tried again.
constexpr nsecs_t kAcceptPause = 100 * 1000 * 1000;

// How long a host that stops waits for its last replies to be taken.
constexpr nsecs_t kFarewell = 1000 * 1000 * 1000;

sp<ServiceItemFactory> itemFactoryOf(const sp<ServiceInfo>& info) {
    const sp<ServiceProtocol> protocol = info->protocol();
    return protocol == nullptr ? nullptr : protocol->itemFactory();
}

// Makes sure of what the frames rely on: datagrams, and calls that wait.
bool isPacketSocket(int fd) {
    int type = 0;
    socklen_t size = sizeof(type);
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET) {
        return fcntl(fd, F_SETFL, 0) == 0;
    }
    logError("descriptor %d is no sequenced-packet socket", fd);
    return false;
}

// The name that a socket is made under tells this host from every other that there ever was.
std::string randomName() {
    uint64_t number = 0;
    if (getrandom(&number, sizeof(number), 0) != sizeof(number)) return {};
    char text[24];
    snprintf(text, sizeof(text), ".%016llx", static_cast<unsigned long long>(number));
    return text;
}

// A listening socket at `path`, which appears there at once and ready, in place of what a dead host
// may have left. Invalid with errno set.
UniqueFd listenAt(const std::string& path) {
    const std::string made = path.substr(0, path.rfind('/') + 1) + randomName();
    sockaddr_un address;
    if (!fillAddress(address, made)) {
        errno = ENAMETOOLONG;
        return {};
    }
    UniqueFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!fd || bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        return {};
    }
    if (::listen(fd.get(), SOMAXCONN) == 0 && rename(made.c_str(), path.c_str()) == 0) return fd;
    const int error = errno;
    unlink(made.c_str());
    errno = error;
    return {};
}

}  // namespace

ServiceHost::Impl::Impl(const sp<ServiceInfo>& info, Handler handler, Options options)
    : mInfo(info),
      mItemFactory(itemFactoryOf(info)),
      mHandler(std::move(handler)),
      mDirectory(options.directory.empty() ? serviceDirectory() : options.directory),
      mSender(
          options.queueLimit, [this](pid_t pid) { cutOff(pid); },
          std::move(options.onClientsChanged)) {}

bool ServiceHost::Impl::start() {
    if (mListening) {
        logError("%s is served already", mInfo->servicename());
        return false;
    }
    const std::string path = socketPath(mDirectory, mInfo->servicename());
    if (path.empty() || !makeDirectory(mDirectory) || !mName.acquire(path)) return false;
    mPath = path;
    mListening = listenAt(path);
    if (!mListening) {
        logError("cannot serve at %s: %s", path.c_str(), errorText(errno).c_str());
        mName.release();
        return false;
    }
    mAcceptor = startThread([this] { acceptConnections(); });
    if (!mAcceptor.joinable()) stop();
    return static_cast<bool>(mListening);
}

void ServiceHost::Impl::stop() {
    if (mListening) {
        unlink(mPath.c_str());
        mName.release();
        {
            AutoMutex lock(mMutex);
            mStopping = true;
            mChanged.broadcast();
        }
        // Wakes the acceptor.
        shutdown(mListening.get(), SHUT_RDWR);
        if (mAcceptor.joinable()) mAcceptor.join();
        mListening.reset();
    }
    {
        AutoMutex lock(mMutex);
        // What has been asked is still answered, but a client that does not read is not waited for.
        shutDown(SHUT_RD);
        const nsecs_t until = systemTime() + kFarewell;
        while (!mConnections.empty() && systemTime() < until) {
            mChanged.waitRelative(mMutex, until - systemTime());
        }
        shutDown(SHUT_RDWR);
        while (!mConnections.empty()) {
            mChanged.wait(mMutex);
        }
        mStopping = false;
    }
    // After the connections, since they hand theirs over to it.
    mSender.stop();
}

void ServiceHost::Impl::shutDown(int how) {
    for (const Connection& connection : mConnections) {
        shutdown(connection.fd.get(), how);
    }
}

void ServiceHost::Impl::acceptConnections() {
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
            // Whoever asks stays in the queue until there is a descriptor for it.
            mChanged.waitRelative(mMutex, kAcceptPause);
        }
    }
}

bool ServiceHost::Impl::adopt(UniqueFd fd) {
    pid_t pid = 0;
    if (!isPacketSocket(fd.get()) || !checkPeer(fd.get(), &pid)) return false;
    Connection* connection = nullptr;
    {
        AutoMutex lock(mMutex);
        connection = &mConnections.emplace_back(std::move(fd), pid);
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

void ServiceHost::Impl::retire(Connection& connection) {
    std::list<Connection> retired;
    AutoMutex lock(mMutex);
    const auto found = std::find_if(mConnections.begin(), mConnections.end(),
                                    [&](const Connection& other) { return &other == &connection; });
    retired.splice(retired.end(), mConnections, found);
    retired.clear();
    // The last that this thread does with the host, which may be destroyed as soon as there is no
    // connection left.
    mChanged.broadcast();
}

void ServiceHost::Impl::cutOff(pid_t pid) {
    {
        AutoMutex lock(mMutex);
        for (const Connection& connection : mConnections) {
            if (connection.pid == pid) shutdown(connection.fd.get(), SHUT_RDWR);
        }
    }
    // Afterwards, so that a connection on its way to the sender is not missed in both places.
    mSender.drop(pid);
}

void ServiceHost::Impl::notify(const sp<ServiceNotify>& notify) {
    if (notify == nullptr) {
        logError("no notification to send");
        return;
    }
    mSender.notify(*notify);
}

}  // namespace accessory

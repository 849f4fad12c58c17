#include "standin/Host.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "standin/Log.h"
#include "standin/Thread.h"

namespace accessory::standin {

using android::AutoMutex;

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

void Host::stop() {
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
            // Whoever asks stays in the queue until there is a descriptor for it.
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
    // The last that this thread does with the host, which may be destroyed as soon as there is no
    // connection left.
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

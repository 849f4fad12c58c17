#include "standin/ServiceAddress.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstddef>

#include "standin/Directory.h"
#include "standin/Log.h"

namespace accessory::standin {

namespace {

// Invalid with errno set on failure. When the service does not accept, waits at most for
// `milliseconds`, which may be 0.
UniqueFd connectTo(const std::string& path, int milliseconds) {
    sockaddr_un address;
    if (!fillAddress(address, path)) {
        errno = ENAMETOOLONG;
        return {};
    }
    const int wait = milliseconds > 0 ? 0 : SOCK_NONBLOCK;
    UniqueFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | wait, 0));
    if (!fd) return {};
    if (milliseconds > 0) {
        const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
        setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time));
    }
    if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return {};
    if (wait != 0) fcntl(fd.get(), F_SETFL, 0);
    return fd;
}

std::string peerName(int fd) {
    sockaddr_un address{};
    socklen_t size = sizeof(address);
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    // The length ends the name; there may be no terminating zero.
    return std::string(address.sun_path, size - offsetof(sockaddr_un, sun_path));
}

}  // namespace

UniqueFd ServiceAddress::bind() {
    UniqueFd fd = connectTo(mPath, 0);
    if (!fd) {
        logError("cannot bind to %s: %s", mPath.c_str(), errorText(errno).c_str());
        return {};
    }
    mInstance = peerName(fd.get());
    return fd;
}

UniqueFd ServiceAddress::connect(const Deadline& deadline, bool& lost) {
    UniqueFd fd;
    do {
        fd = connectTo(mPath, deadline.remaining());
    } while (!fd && errno == EINTR && deadline.remaining() > 0);
    if (!fd) {
        lost = errno == ENOENT || errno == ECONNREFUSED;
        logError("cannot connect to %s: %s", mPath.c_str(), errorText(errno).c_str());
        return {};
    }
    if (peerName(fd.get()) == mInstance) return fd;
    lost = true;
    logError("the service at %s is not the one that this client is bound to", mPath.c_str());
    return {};
}

}  // namespace accessory::standin

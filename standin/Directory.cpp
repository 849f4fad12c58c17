#include "standin/Directory.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "standin/Log.h"
#include "standin/ServiceFolder.h"

namespace accessory::standin {

namespace {

// With "/" or "/." behind it, the name of a link would stand for what the link points at.
std::filesystem::path nameAlone(std::filesystem::path path) {
    const auto isBare = [&] { return path.has_filename() && path.filename() != "."; };
    while (!isBare() && path.has_relative_path() && path.has_parent_path())
        path = path.parent_path();
    return path;
}

}  // namespace

std::string serviceDirectory() {
    return serviceFolder().path;
}

bool checkDirectory(const std::string& path) {
    struct stat status;
    if (lstat(nameAlone(path).c_str(), &status) != 0) {
        if (errno != ENOENT) {
            logError("cannot use %s: %s", path.c_str(), errorText(errno).c_str());
        }
        return false;
    }
    const char* fault = !S_ISDIR(status.st_mode)          ? "it is no directory"
                        : status.st_uid != geteuid()      ? "it belongs to another user"
                        : (status.st_mode & 0777) != 0700 ? "its mode is not 0700"
                                                          : nullptr;
    if (fault != nullptr) logError("cannot use %s: %s", path.c_str(), fault);
    return fault == nullptr;
}

bool makeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        logError("cannot make %s: %s", path.c_str(), errorText(errno).c_str());
        return false;
    }
    return checkDirectory(path);
}

std::string socketPath(const std::string& directory, const char* name) {
    sockaddr_un address;
    const bool valid =
        name != nullptr && *name != '\0' && *name != '.' && std::strchr(name, '/') == nullptr;
    std::string path = directory + "/" + (valid ? name : "");
    if (valid && fillAddress(address, path)) return path;
    logError("%s is no %s", path.c_str(), valid ? "short enough path" : "name for a service");
    return {};
}

bool fillAddress(sockaddr_un& address, const std::string& path) {
    if (path.size() >= sizeof(address.sun_path)) return false;
    address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return true;
}

bool checkPeer(int fd, pid_t* pid) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        logError("cannot tell whose socket this is: %s", errorText(errno).c_str());
        return false;
    }
    if (pid != nullptr) *pid = peer.pid;
    if (peer.uid == geteuid()) return true;
    logError("process %d is refused: it runs as user %u", peer.pid, peer.uid);
    return false;
}

}  // namespace accessory::standin

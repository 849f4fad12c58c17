#include "standin/ListeningSocket.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "standin/Directory.h"
#include "standin/Log.h"

namespace accessory::standin {

namespace {

// A socket is made under a random name and is renamed when it listens. No other host ever had the
// same random name.
constexpr char kRandomName[] = ".%016llx";
constexpr size_t kRandomNameLength = 17;

std::string randomName() {
    uint64_t number = 0;
    if (getrandom(&number, sizeof(number), 0) != sizeof(number)) return {};
    char text[kRandomNameLength + 1];
    snprintf(text, sizeof(text), kRandomName, static_cast<unsigned long long>(number));
    return text;
}

bool isRandomName(const char* name) {
    return *name == '.' && std::strlen(name) == kRandomNameLength &&
           std::strspn(name + 1, "0123456789abcdef") == kRandomNameLength - 1;
}

bool isSameFile(const struct stat& one, const struct stat& other) {
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

// Whether `path` still names the file that `fd` was opened as.
bool stillNames(const std::string& path, int fd) {
    struct stat opened;
    struct stat found;
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &found) == 0 && isSameFile(opened, found);
}

// Removes the sockets of hosts that were killed before they could rename them.
void removeLeftOvers(const std::string& directory) {
    const auto close = [](DIR* opened) { closedir(opened); };
    const std::unique_ptr<DIR, decltype(close)> opened(opendir(directory.c_str()), close);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this thread's own
    while (const dirent* entry = opened == nullptr ? nullptr : readdir(opened.get())) {
        const std::string path = directory + "/" + entry->d_name;
        struct stat status;
        const bool leftOver = isRandomName(entry->d_name) && lstat(path.c_str(), &status) == 0 &&
                              S_ISSOCK(status.st_mode);
        if (leftOver) unlink(path.c_str());
    }
}

// A listening socket at `path`, in place of the one that a dead host may have left there. Clients
// find it only when it is ready. Invalid with errno set on failure.
UniqueFd listenAt(const std::string& directory, const std::string& path) {
    // Hosts take turns, so that none removes the socket that another is about to rename.
    const UniqueFd turn(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!turn || flock(turn.get(), LOCK_EX) != 0) return {};
    removeLeftOvers(directory);
    const std::string made = directory + "/" + randomName();
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

bool ListeningSocket::open(const std::string& directory, const char* name) {
    mPath = socketPath(directory, name);
    return !mPath.empty() && makeDirectory(directory) && lock() && listen(directory);
}

bool ListeningSocket::lock() {
    const std::string path = mPath + ".lock";
    do {
        mLock.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!mLock) {
            logError("cannot open %s: %s", path.c_str(), errorText(errno).c_str());
            return false;
        }
        if (flock(mLock.get(), LOCK_EX | LOCK_NB) != 0) {
            logError("%s is served by another process", mPath.c_str());
            mLock.reset();
            return false;
        }
        // A host that ends removes its lock file, perhaps after it was opened here.
    } while (!stillNames(path, mLock.get()));
    return true;
}

bool ListeningSocket::listen(const std::string& directory) {
    mSocket = listenAt(directory, mPath);
    if (mSocket && lstat(mPath.c_str(), &mFile) == 0) return true;
    logError("cannot serve at %s: %s", mPath.c_str(), errorText(errno).c_str());
    close();
    return false;
}

void ListeningSocket::withdraw() {
    if (!mLock) return;
    // When somebody has removed the lock, both files may be a successor's.
    struct stat found;
    if (lstat(mPath.c_str(), &found) == 0 && isSameFile(found, mFile)) unlink(mPath.c_str());
    const std::string lockPath = mPath + ".lock";
    if (stillNames(lockPath, mLock.get())) unlink(lockPath.c_str());
    mLock.reset();
}

void ListeningSocket::close() {
    withdraw();
    mSocket.reset();
}

}  // namespace accessory::standin

#include "tool/OutputStream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <limits>

namespace tool {
namespace {

// How long a write waits for its reader after the tool was told to end.
constexpr int kHurryMs = 1000;

}  // namespace

OutputStream::OutputStream(int fd)
    : mShared(fd), mFd(fd, O_WRONLY), mFailure(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    android::AutoMutex lock(mLock);
    look();
}

OutputStream::~OutputStream() {
    close(mFailure);
}

void OutputStream::look() {
    struct stat status = {};
    const bool isFile = fstat(mShared, &status) == 0 && S_ISREG(status.st_mode);
    mPiece = isFile ? std::numeric_limits<size_t>::max() : PIPE_BUF;
}

bool OutputStream::redirect(int fd) {
    android::AutoMutex lock(mLock);
    if (dup2(fd, mShared) < 0) return false;
    mFd.renew();
    look();
    return true;
}

bool OutputStream::writeLine(std::string line) {
    line += '\n';
    return write(line);
}

bool OutputStream::write(std::string_view text) {
    android::AutoMutex lock(mLock);
    while (!text.empty()) {
        if (failed() || !waitWritable()) return false;
        text.remove_prefix(writePiece(text));
    }
    return !failed();
}

size_t OutputStream::writeNow(std::string_view text) {
    android::AutoMutex lock(mLock);
    size_t written = 0;
    pollfd source = {mFd.get(), POLLOUT, 0};
    while (written < text.size() && !failed() && poll(&source, 1, 0) > 0) {
        const size_t count = writePiece(text.substr(written));
        if (count == 0) break;
        written += count;
    }
    return written;
}

size_t OutputStream::writePiece(std::string_view text) {
    const ssize_t count = ::write(mFd.get(), text.data(), std::min(text.size(), mPiece));
    if (count < 0 && errno != EINTR && errno != EAGAIN) fail(errno);
    return static_cast<size_t>(std::max<ssize_t>(count, 0));
}

bool OutputStream::waitWritable() {
    pollfd sources[] = {{mFd.get(), POLLOUT, 0}, {mHurry, POLLIN, 0}};
    while (poll(sources, 2, -1) < 0) {
    }
    if (sources[0].revents != 0) return true;
    return poll(sources, 1, kHurryMs) != 0 || fail(ECANCELED);
}

bool OutputStream::fail(int error) {
    int none = 0;
    if (mError.compare_exchange_strong(none, error)) eventfd_write(mFailure, 1);
    return false;
}

}  // namespace tool

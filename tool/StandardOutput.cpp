#include "tool/StandardOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <limits>
#include <system_error>

namespace tool {
namespace {

// How long a write waits for its reader after the tool was told to end.
constexpr int kHurryMs = 1000;

int openFailure() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() gives the lowest free number, which is the missing one. The file is opened for
        // reading only, so that a write to a standard output that was closed still fails.
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
    ::signal(SIGPIPE, SIG_IGN);
    return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

}  // namespace

StandardOutput::StandardOutput() : mFailure(openFailure()) {
    struct stat status = {};
    const bool isFile = fstat(STDOUT_FILENO, &status) == 0 && S_ISREG(status.st_mode);
    mPiece = isFile ? std::numeric_limits<size_t>::max() : PIPE_BUF;
}

StandardOutput::~StandardOutput() {
    close(mFailure);
}

bool StandardOutput::writeLine(std::string line) {
    line += '\n';
    return write(line);
}

bool StandardOutput::write(std::string_view text) {
    android::AutoMutex lock(mLock);
    while (!text.empty()) {
        if (failed() || !waitWritable()) return false;
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), std::min(text.size(), mPiece));
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN) {
            return fail(errno);
        }
    }
    return !failed();
}

bool StandardOutput::waitWritable() {
    pollfd sources[] = {{STDOUT_FILENO, POLLOUT, 0}, {mHurry, POLLIN, 0}};
    while (poll(sources, 2, -1) < 0) {
    }
    if (sources[0].revents != 0) return true;
    return poll(sources, 1, kHurryMs) != 0 || fail(ECANCELED);
}

bool StandardOutput::fail(int error) {
    int none = 0;
    if (mError.compare_exchange_strong(none, error)) eventfd_write(mFailure, 1);
    return false;
}

int StandardOutput::exitStatus(const char* tool, int status) const {
    const int error = mError;
    if (error == 0 || error == EPIPE || error == ECANCELED) return status;
    fprintf(stderr, "%s: cannot write to standard output: %s\n", tool,
            std::generic_category().message(error).c_str());
    return kCannotWrite;
}

}  // namespace tool

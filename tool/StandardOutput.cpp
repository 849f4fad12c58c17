#include "tool/StandardOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

namespace tool {
namespace {

int prepared() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() gives the lowest free number, which is the missing one. The file is opened for
        // reading only, so that a write to a standard output that was closed still fails.
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
    ::signal(SIGPIPE, SIG_IGN);
    return STDOUT_FILENO;
}

}  // namespace

StandardOutput::StandardOutput() : OutputStream(prepared()) {}

int StandardOutput::exitStatus(const char* tool, int status) const {
    if (error() == 0 || error() == EPIPE || error() == ECANCELED) return status;
    fprintf(stderr, "%s: cannot write to standard output: %s\n", tool,
            std::generic_category().message(error()).c_str());
    return kCannotWrite;
}

}  // namespace tool

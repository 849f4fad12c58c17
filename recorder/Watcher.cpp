#include "recorder/Watcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "recorder/Settings.h"

namespace {

// Changes when the file is written. All zero where there is none.
using Mark = std::array<int64_t, 4>;

Mark markOf(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return {};
    return {static_cast<int64_t>(status.st_ino), status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
            status.st_size};
}

// The standard error stays, and these two, which become the first numbers.
void closeOthers(int program, int dismissed) {
    dup2(program, STDIN_FILENO);
    dup2(dismissed, STDOUT_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);
}

[[noreturn]] void watch(const std::string& path, const Mark& before) {
    char byte = 0;
    ssize_t count = -1;
    do {
        count = read(STDOUT_FILENO, &byte, 1);
    } while (count < 0 && errno == EINTR);
    if (count != 0) _exit(0);
    pollfd program = {STDIN_FILENO, POLLIN, 0};
    while (poll(&program, 1, -1) < 0 && errno == EINTR) {
    }
    if (markOf(path) == before) {
        dprintf(STDERR_FILENO,
                "mirvo-record: %s was not written: the program has not bound to the projection "
                "service, or the recorder could not be loaded into it or has logged why not\n",
                path.c_str());
    }
    _exit(0);
}

}  // namespace

Watcher::Watcher(const std::string& path) {
    const std::string file = recorder::withProcess(path);
    const Mark before = markOf(file);
    const auto program = static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0));
    int dismissal[2];
    if (program < 0 || pipe2(dismissal, O_CLOEXEC) != 0) return;
    const pid_t child = fork();
    if (child == 0) {
        // The program must not find a child that it has not made, nor should the terminal's signals
        // end this one before the program.
        setsid();
        if (fork() != 0) _exit(0);
        closeOthers(program, dismissal[0]);
        watch(file, before);
    }
    if (child > 0) waitpid(child, nullptr, 0);
    close(program);
    close(dismissal[0]);
    mDismiss = dismissal[1];
}

void Watcher::dismiss() const {
    if (mDismiss < 0) return;
    while (write(mDismiss, "", 1) < 0 && errno == EINTR) {
    }
}

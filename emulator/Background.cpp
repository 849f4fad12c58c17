#include "emulator/Background.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "emulator/ExitStatus.h"

namespace emulator {
namespace {

std::string withReason(const std::string& what) {
    return what + ": " + std::generic_category().message(errno);
}

// Waits for the child to serve or to end, and ends with what it says.
[[noreturn]] void leaveTo(pid_t child, int pipe) {
    char byte;
    ssize_t count;
    while ((count = read(pipe, &byte, 1)) < 0 && errno == EINTR) {
    }
    if (count == 1) {
        const bool printed = printf("%d\n", child) > 0 && fflush(stdout) == 0;
        if (!printed) {
            fprintf(stderr, "mirvo-emulator: %s\n",
                    withReason("cannot write to standard output").c_str());
        }
        _exit(printed ? kDone : kNotServing);
    }
    int status = 0;
    waitpid(child, &status, 0);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : kNotServing);
}

}  // namespace

std::string redirectOutput(const std::string& file, int* before) {
    if (before != nullptr) *before = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) return withReason("cannot write " + file);
    close(fd);
    return {};
}

std::string Background::enter() {
    int pipe[2];
    const bool piped = pipe2(pipe, O_CLOEXEC) == 0;
    const pid_t child = piped ? fork() : -1;
    if (child < 0) return withReason("cannot go to the background");
    if (child > 0) {
        close(pipe[1]);
        leaveTo(child, pipe[0]);
    }
    close(pipe[0]);
    mStarter = pipe[1];
    setsid();
    const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(none, STDIN_FILENO);
    close(none);
    return {};
}

void Background::ready(bool outputHasFile, bool errorsToo) {
    if (mStarter < 0) return;
    // Whoever reads what the starter prints would otherwise wait for this process, too. Nothing was
    // read from standard input, which leads to nobody.
    if (!outputHasFile) dup2(STDIN_FILENO, STDOUT_FILENO);
    dup2(errorsToo ? STDOUT_FILENO : STDIN_FILENO, STDERR_FILENO);
    const int starter = std::exchange(mStarter, -1);
    // Nobody has to wait for it.
    static_cast<void>(write(starter, "", 1) == 1);
    close(starter);
}

}  // namespace emulator

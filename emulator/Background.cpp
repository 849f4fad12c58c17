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

bool complain(const std::string& what) {
    const int error = errno;
    fprintf(stderr, "mirvo-emulator: %s: %s\n", what.c_str(),
            std::generic_category().message(error).c_str());
    return false;
}

// Waits for the child to serve or to end, and ends with what it says.
[[noreturn]] void leaveTo(pid_t child, int pipe) {
    char byte;
    ssize_t count;
    while ((count = read(pipe, &byte, 1)) < 0 && errno == EINTR) {
    }
    if (count == 1) {
        const bool printed = printf("%d\n", child) > 0 && fflush(stdout) == 0;
        if (!printed) complain("cannot write to standard output");
        _exit(printed ? kDone : kNotServing);
    }
    int status = 0;
    waitpid(child, &status, 0);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : kNotServing);
}

}  // namespace

bool redirectOutput(const std::string& file) {
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) return complain("cannot write " + file);
    close(fd);
    return true;
}

void Background::enter() {
    int pipe[2];
    const bool piped = pipe2(pipe, O_CLOEXEC) == 0;
    const pid_t child = piped ? fork() : -1;
    if (child < 0) {
        complain("cannot go to the background");
        _exit(kNotServing);
    }
    if (child > 0) {
        close(pipe[1]);
        leaveTo(child, pipe[0]);
    }
    close(pipe[0]);
    mStarter = pipe[1];
    setsid();
    const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(none, STDIN_FILENO);
    // What is not asked for would keep those waiting who read what the starter prints.
    dup2(none, STDOUT_FILENO);
    close(none);
}

void Background::ready() {
    if (mStarter < 0) return;
    dup2(STDOUT_FILENO, STDERR_FILENO);
    const int starter = std::exchange(mStarter, -1);
    // Nobody has to wait for it.
    static_cast<void>(!write(starter, "", 1));
    close(starter);
}

}  // namespace emulator

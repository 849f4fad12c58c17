#include "emulator/Background.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "emulator/ExitStatus.h"

namespace emulator {
namespace {

std::string withReason(const std::string& what) {
    return what + ": " + std::generic_category().message(errno);
}

bool receive(int socket) {
    char byte;
    ssize_t count;
    while ((count = read(socket, &byte, 1)) < 0 && errno == EINTR) {
    }
    return count == 1;
}

bool send(int socket) {
    return write(socket, "", 1) == 1;
}

// Waits for the child to serve or to end, and ends with what it says.
[[noreturn]] void leaveTo(pid_t child, int socket, tool::StandardOutput& output) {
    const bool serves = receive(socket);
    if (serves && output.writeLine(std::to_string(child)) && send(socket)) _exit(kDone);
    close(socket);
    int status = 0;
    waitpid(child, &status, 0);
    _exit(output.exitStatus(
        "mirvo-emulator", WIFEXITED(status) ? WEXITSTATUS(status) : static_cast<int>(kNotServing)));
}

}  // namespace

std::string redirectOutput(tool::StandardOutput& output, const std::string& file, int* before) {
    if (before != nullptr) *before = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0 || !output.redirect(fd)) return withReason("cannot write " + file);
    close(fd);
    return {};
}

std::string Background::enter(tool::StandardOutput& output) {
    int sockets[2];
    const bool connected = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0;
    const pid_t child = connected ? fork() : -1;
    if (child < 0) return withReason("cannot go to the background");
    if (child > 0) {
        close(sockets[1]);
        leaveTo(child, sockets[0], output);
    }
    close(sockets[0]);
    mStarter = sockets[1];
    setsid();
    const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(none, STDIN_FILENO);
    close(none);
    return {};
}

bool Background::ready(const Streams& streams, tool::Waker& waker) {
    if (mStarter < 0) return true;
    // Whoever reads what the starter prints would otherwise wait for this process, too. Nothing was
    // read from standard input, which leads to nobody.
    if (!streams.outputHasFile) streams.output.redirect(STDIN_FILENO);
    streams.errors.redirect(streams.errorsToo ? STDOUT_FILENO : STDIN_FILENO);
    const int starter = std::exchange(mStarter, -1);
    const bool told = send(starter) && waker.waitReadable(starter) && receive(starter);
    close(starter);
    return told;
}

}  // namespace emulator

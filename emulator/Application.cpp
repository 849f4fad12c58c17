#include "emulator/Application.h"

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace emulator {
namespace {

// How long it may take to end after it was asked to.
constexpr int kPatienceMs = 5000;

}  // namespace

std::string Application::start(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    // What the emulator ignores, it does not.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error =
        posix_spawnp(&mProcess, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error == 0) mDescriptor = static_cast<int>(syscall(SYS_pidfd_open, mProcess, 0));
    if (error == 0 && mDescriptor >= 0) return {};
    const std::string reason = std::generic_category().message(error != 0 ? error : errno);
    if (error != 0) mProcess = -1;
    return "cannot run " + command.front() + ": " + reason;
}

std::optional<int> Application::wait(tool::Waker& waker, std::optional<tool::Waker::Time> until) {
    if (!waker.waitReadable(mDescriptor, until)) return {};
    int status = 0;
    waitpid(std::exchange(mProcess, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Application::end() {
    if (mProcess > 0) {
        kill(mProcess, SIGTERM);
        pollfd ended = {mDescriptor, POLLIN, 0};
        if (poll(&ended, 1, kPatienceMs) <= 0) kill(mProcess, SIGKILL);
        waitpid(std::exchange(mProcess, -1), nullptr, 0);
    }
    if (mDescriptor >= 0) close(std::exchange(mDescriptor, -1));
}

}  // namespace emulator

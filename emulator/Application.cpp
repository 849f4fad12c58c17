#include "emulator/Application.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace emulator {
namespace {

using android::AutoMutex;

// What the new process does between fork() and the program. Other threads of the emulator may have
// held any lock at that moment, so it only makes system calls.
[[noreturn]] void become(char* const* arguments, int output, int failure, pid_t emulator) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What the emulator ignores, the program does not.
    signal(SIGPIPE, SIG_DFL);
    // The emulator may have died before it was asked to be told.
    if (getppid() != emulator) _exit(1);
    if (output == STDOUT_FILENO || dup2(output, STDOUT_FILENO) >= 0) execvp(*arguments, arguments);
    const int error = errno;
    _exit(write(failure, &error, sizeof(error)) > 0 ? 1 : 2);
}

}  // namespace

std::string Application::start(const std::vector<std::string>& command, int output) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    int error = 0;
    int failure[2];
    if (pipe2(failure, O_CLOEXEC) != 0) return std::generic_category().message(errno);
    const pid_t emulator = getpid();
    const pid_t process = fork();
    if (process == 0) become(arguments.data(), output, failure[1], emulator);
    if (process < 0) error = errno;
    close(failure[1]);
    // Nothing comes once the program runs.
    while (process > 0 && read(failure[0], &error, sizeof(error)) < 0 && errno == EINTR) {
    }
    close(failure[0]);
    if (error != 0) {
        if (process > 0) waitpid(process, nullptr, 0);
        return "cannot run " + command.front() + ": " + std::generic_category().message(error);
    }
    mProcess = process;
    mName = command.front() + " (process " + std::to_string(process) + ")";
    mWatch = std::thread([this] {
        siginfo_t info = {};
        while (waitid(P_PID, static_cast<id_t>(mProcess), &info, WEXITED | WNOWAIT) != 0 &&
               errno == EINTR) {
        }
        {
            AutoMutex lock(mLock);
            mEndedAt = Clock::now();
            mExited = info.si_code == CLD_EXITED;
            mStatus = info.si_status;
            mChanged.broadcast();
        }
        mWaker.wake();
    });
    return {};
}

std::optional<Application::Clock::time_point> Application::endedAt() {
    AutoMutex lock(mLock);
    return mEndedAt;
}

bool Application::hasFailed() {
    AutoMutex lock(mLock);
    return mEndedAt && !(mExited && mStatus == 0);
}

bool Application::waitForEnd() {
    const auto until = Clock::now() + kPatience;
    AutoMutex lock(mLock);
    while (!mEndedAt) {
        const std::chrono::nanoseconds left = until - Clock::now();
        if (left.count() <= 0) return false;
        mChanged.waitRelative(mLock, left.count());
    }
    return true;
}

Application::End Application::end(bool knows) {
    if (!exists() || mEnd) return mEnd.value_or(End{0, false, false});
    End end = {0, false, false};
    bool asked = false;
    if (!endedAt() && !(knows && waitForEnd())) {
        asked = true;
        kill(mProcess, SIGTERM);
        // One that is stopped would not hear it.
        kill(mProcess, SIGCONT);
        end.killed = !waitForEnd();
        if (end.killed) kill(mProcess, SIGKILL);
    }
    mWatch.join();
    int status = 0;
    waitpid(mProcess, &status, 0);
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    end.obeyed = asked && WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM;
    mEnd = end;
    return end;
}

std::string Application::fate() {
    AutoMutex lock(mLock);
    if (!mEndedAt) return {};
    return mName + (mExited ? " had ended with status " : " had been killed by signal ") +
           std::to_string(mStatus);
}

}  // namespace emulator

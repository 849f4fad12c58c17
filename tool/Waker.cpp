#include "tool/Waker.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace tool {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

// What the signal handler needs. A signalfd is not used, since the signals would have to be blocked
// in every thread, and the framework has threads of its own.
std::atomic<int> gSignal;
std::atomic<bool> gFromTerminal;
// Stays open to the end of the process, because a handler on another thread may be about to write.
std::atomic<int> gSignalFd{-1};
struct sigaction gPrevious[std::size(kSignals)];

void onSignal(int number, siginfo_t* info, void* /*context*/) {
    const int error = errno;
    gSignal = number;
    gFromTerminal = info->si_code == SI_KERNEL;
    eventfd_write(gSignalFd, 1);
    errno = error;
}

}  // namespace

Waker::Waker(StandardOutput& output, Handlers handlers)
    : mOutput(output), mHandlers(handlers), mEvents(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (gSignalFd < 0) gSignalFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    eventfd_t earlier = 0;
    static_cast<void>(eventfd_read(gSignalFd, &earlier));
    gSignal = 0;
    mOutput.hurryWhenReadable(gSignalFd);
    struct sigaction action = {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_RESTART | SA_SIGINFO;
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &action, &gPrevious[i]);
}

Waker::~Waker() {
    close(mEvents);
    // Standard output still hurries at a signal.
    if (mHandlers == Handlers::kKept) return;
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &gPrevious[i], nullptr);
    mOutput.hurryWhenReadable(-1);
}

void Waker::wake() {
    eventfd_write(mEvents, 1);
}

int Waker::signal() const {
    return gSignal;
}

bool Waker::signalIsFromTerminal() const {
    return gFromTerminal;
}

bool Waker::waitUntil(const std::function<bool()>& done, std::optional<Time> time) {
    while (!interrupted()) {
        if (done()) return true;
        if (!sleep(-1, time)) return false;
    }
    return false;
}

bool Waker::waitReadable(int fd, std::optional<Time> time) {
    mReadable = false;
    while (!interrupted() && !mReadable) {
        if (!sleep(fd, time)) return false;
    }
    return !interrupted();
}

void Waker::look() {
    sleep(-1, std::chrono::steady_clock::now());
}

bool Waker::sleep(int fd, std::optional<Time> time) {
    int timeout = -1;
    if (time) {
        using std::chrono::milliseconds;
        // Rounded up, so that the time is really over when the sleep ends.
        const auto left = std::chrono::ceil<milliseconds>(*time - std::chrono::steady_clock::now());
        timeout = static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1'000'000'000));
    }
    // No event is asked for, so standard output reports only that its reader has gone away.
    pollfd sources[] = {{gSignalFd, POLLIN, 0},
                        {mEvents, POLLIN, 0},
                        {fd, POLLIN, 0},
                        {mOutput.failureFd(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}};
    const int ready = poll(sources, std::size(sources), timeout);
    if (ready == 0) return false;
    if (ready < 0) return true;
    if (sources[4].revents != 0) mOutput.readerHasGone();
    if (sources[2].revents != 0) mReadable = true;
    eventfd_t ignored;
    if (sources[1].revents != 0) eventfd_read(mEvents, &ignored);
    return true;
}

}  // namespace tool

#include "tool/Waker.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace tool {

Waker::Waker(StandardOutput& output) : mOutput(output) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    mEvents = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    mOutput.hurryWhenReadable(mSignals);
}

Waker::~Waker() {
    mOutput.hurryWhenReadable(-1);
    close(mSignals);
    close(mEvents);
}

void Waker::wake() {
    eventfd_write(mEvents, 1);
}

bool Waker::waitUntil(const std::function<bool()>& done, std::optional<Time> time) {
    while (!mInterrupted) {
        if (done()) return true;
        if (!sleep(-1, time)) return false;
    }
    return false;
}

bool Waker::waitReadable(int fd) {
    mReadable = false;
    while (!mInterrupted && !mReadable)
        sleep(fd, std::nullopt);
    return !mInterrupted;
}

bool Waker::sleep(int fd, std::optional<Time> time) {
    int timeout = -1;
    if (time) {
        using std::chrono::milliseconds;
        // Rounded up, so that the time has passed when the sleep is over.
        const auto left = std::chrono::ceil<milliseconds>(*time - std::chrono::steady_clock::now());
        timeout = static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1'000'000'000));
    }
    // Without an event of its own, standard output reports only that its reader has gone.
    pollfd sources[] = {{mSignals, POLLIN, 0},
                        {mEvents, POLLIN, 0},
                        {fd, POLLIN, 0},
                        {mOutput.failureFd(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}};
    const int ready = poll(sources, 5, timeout);
    if (ready == 0) return false;
    if (ready < 0) return true;
    if (sources[4].revents != 0) mOutput.readerHasGone();
    if (sources[0].revents != 0 || mOutput.failed()) mInterrupted = true;
    if (sources[2].revents != 0) mReadable = true;
    eventfd_t ignored;
    if (sources[1].revents != 0) eventfd_read(mEvents, &ignored);
    return true;
}

}  // namespace tool

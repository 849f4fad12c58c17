#include "standin/Thread.h"

#include <csignal>
#include <system_error>

#include "standin/Log.h"

namespace accessory::standin {

namespace {

// The signals that a thread causes itself, and the one that profilers send. If the first ones were
// blocked, a crash in a callback would end the process without running its crash handler.
constexpr int kOpenSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF};

}  // namespace

std::thread startThread(std::function<void()> body) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (const int open : kOpenSignals)
        sigdelset(&blocked, open);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    std::thread thread;
    try {
        thread = std::thread(std::move(body));
    } catch (const std::system_error& error) {
        logError("cannot start a thread: %s", error.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace accessory::standin

#include "standin/Thread.h"

#include <csignal>
#include <system_error>

#include "standin/Log.h"

namespace accessory::standin {

std::thread startThread(std::function<void()> body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
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

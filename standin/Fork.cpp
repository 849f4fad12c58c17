#include "standin/Fork.h"

#include <pthread.h>

#include <atomic>

#include "standin/Log.h"

namespace accessory::standin {

namespace {

std::atomic<bool> forked{false};

}  // namespace

void noticeForks() {
    static const int kRegistered = pthread_atfork(nullptr, nullptr, [] { forked = true; });
    static_cast<void>(kRegistered);
}

bool inForkedChild() {
    return forked.load(std::memory_order_relaxed);
}

bool failsInForkedChild(const char* what) {
    if (!inForkedChild()) return false;
    logError("%s fails: this process was forked from the one that uses the service", what);
    return true;
}

}  // namespace accessory::standin

// The functions of the C library that are replaced here are inline where its checks are on.
#undef _FORTIFY_SOURCE

#include "tests/explore/Interpose.h"

#include <dlfcn.h>

#include "tests/explore/Scheduler.h"

// Calls of a run's threads go to its scheduler, all others to the C library.

namespace explorer {

namespace {

template <typename Function>
void find(Function& function, const char* name) {
    // Of functions with two versions dlsym() may give the old one, which other structures belong
    // to.
    void* found = dlvsym(RTLD_NEXT, name, "GLIBC_2.3.2");
    if (found == nullptr) found = dlsym(RTLD_NEXT, name);
    function = reinterpret_cast<Function>(found);
}

Real findAll() {
    Real all;
    find(all.lock, "pthread_mutex_lock");
    find(all.tryLock, "pthread_mutex_trylock");
    find(all.unlock, "pthread_mutex_unlock");
    find(all.destroyMutex, "pthread_mutex_destroy");
    find(all.wait, "pthread_cond_wait");
    find(all.timedWait, "pthread_cond_timedwait");
    find(all.clockWait, "pthread_cond_clockwait");
    find(all.clock, "clock_gettime");
    find(all.signal, "pthread_cond_signal");
    find(all.broadcast, "pthread_cond_broadcast");
    find(all.destroyCondition, "pthread_cond_destroy");
    find(all.create, "pthread_create");
    find(all.join, "pthread_join");
    find(all.poll, "poll");
    return all;
}

}  // namespace

const Real& real() {
    static const Real kAll = findAll();
    return kAll;
}

}  // namespace explorer

using explorer::real;
using explorer::Scheduler;

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().lock(mutex) : run->lock(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().tryLock(mutex) : run->tryLock(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().unlock(mutex) : run->unlock(mutex);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) {
    if (Scheduler* run = Scheduler::current()) run->destroyMutex(mutex);
    return real().destroyMutex(mutex);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().wait(condition, mutex) : run->wait(condition, mutex, nullptr);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* until) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().timedWait(condition, mutex, until)
                          : run->wait(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().clockWait(condition, mutex, clock, until)
                          : run->wait(condition, mutex, until);
}

int clock_gettime(clockid_t clock, timespec* time) {
    Scheduler* run = Scheduler::current();
    if (run == nullptr || clock != CLOCK_MONOTONIC) return real().clock(clock, time);
    *time = run->now();
    return 0;
}

int pthread_cond_signal(pthread_cond_t* condition) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().signal(condition) : run->signal(condition, false);
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().broadcast(condition) : run->signal(condition, true);
}

int pthread_cond_destroy(pthread_cond_t* condition) {
    if (Scheduler* run = Scheduler::current()) run->destroyCondition(condition);
    return real().destroyCondition(condition);
}

int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* arg) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().create(handle, attributes, body, arg)
                          : run->create(handle, attributes, body, arg);
}

int pthread_join(pthread_t handle, void** result) {
    Scheduler* run = Scheduler::current();
    return run == nullptr ? real().join(handle, result) : run->join(handle, result);
}

int poll(pollfd* entries, nfds_t count, int milliseconds) {
    Scheduler* run = Scheduler::current();
    return run == nullptr || milliseconds >= 0 ? real().poll(entries, count, milliseconds)
                                               : run->poll(entries, count);
}

}  // extern "C"

#pragma once

#include <poll.h>
#include <pthread.h>
#include <ctime>

namespace explorer {

// The functions that are interposed, as the C library has them.
struct Real {
    int (*lock)(pthread_mutex_t*);
    int (*tryLock)(pthread_mutex_t*);
    int (*unlock)(pthread_mutex_t*);
    int (*destroyMutex)(pthread_mutex_t*);
    int (*wait)(pthread_cond_t*, pthread_mutex_t*);
    int (*timedWait)(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    int (*clockWait)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
    int (*clock)(clockid_t, timespec*);
    int (*signal)(pthread_cond_t*);
    int (*broadcast)(pthread_cond_t*);
    int (*destroyCondition)(pthread_cond_t*);
    int (*create)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    int (*join)(pthread_t, void**);
    int (*poll)(pollfd*, nfds_t, int);
};
const Real& real();

}  // namespace explorer

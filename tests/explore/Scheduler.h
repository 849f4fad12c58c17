#pragma once

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/explore/Explorer.h"

namespace explorer {

// The threads of one run and what each waits for. Only the thread that runs touches it: the others
// sleep on semaphores of their own, and handing over a semaphore orders their accesses.
class Scheduler {
public:
    Scheduler(const Limits& limits, const Order& order);

    // The scheduler of the run under way if the calling thread is one of the run's, else null.
    static Scheduler* current();

    // Runs the scenario as thread 0 until every thread has ended.
    void run(const std::function<void()>& scenario);

    // What the interposed functions do in a run; the results are those of the functions.
    int lock(void* mutex);
    int tryLock(void* mutex);
    int unlock(void* mutex);
    // `until` is null for a wait without a limit.
    int wait(void* condition, void* mutex, const timespec* until);
    int signal(void* condition, bool all);
    int create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
               void* arg);
    int join(pthread_t handle, void** result);
    // Without a limit.
    int poll(pollfd* entries, nfds_t count);
    void destroyMutex(void* mutex);
    void destroyCondition(void* condition);
    void point(const char* what) { decide(what, nullptr); }
    void yield();
    // Whether other orders than the first are tried from here on.
    void explore(bool all) { mAll = all; }
    timespec now() const { return mNow; }
    [[noreturn]] void fail(const std::string& what);

    struct Decision {
        int taken;
        int choices;
    };
    const std::vector<Decision>& decisions() const { return mDecisions; }

private:
    enum class State { kReady, kWantsMutex, kWaits, kJoins, kPolls, kEnded };
    struct Thread {
        int number = 0;
        State state = State::kReady;
        void* mutex = nullptr;
        void* condition = nullptr;
        bool limited = false;
        timespec until{};
        bool timedOut = false;
        const Thread* joined = nullptr;
        pollfd* polled = nullptr;
        nfds_t polledCount = 0;
        pthread_t handle{};
        sem_t turn{};
    };
    struct Step {
        int thread;
        const char* what;
        const void* object;
    };
    struct Choice {
        Thread* thread;
        int preemptions;
        int wakeUps;
    };

    static void* begin(void* start);
    void decide(const char* what, const void* object);
    std::vector<Choice> choices();
    bool canRun(const Thread& thread) const;
    void handOver(Thread& next);
    void end();
    Thread& self();

    const Limits mLimits;
    const Order mOrder;
    std::deque<Thread> mThreads;
    std::map<void*, const Thread*> mOwners;
    std::vector<Decision> mDecisions;
    int mPreemptions = 0;
    int mWakeUps = 0;
    bool mYielding = false;
    bool mAll = true;
    timespec mNow{1000, 0};
    std::vector<Step> mTrace;
};

}  // namespace explorer

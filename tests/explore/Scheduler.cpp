#include "tests/explore/Scheduler.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <tuple>

#include "tests/explore/Interpose.h"

namespace explorer {

namespace {

thread_local Scheduler* tScheduler = nullptr;
thread_local void* tThread = nullptr;

// Far more than any scenario needs: one that goes round in circles shall end.
constexpr size_t kMostSteps = 100000;

struct Start {
    Scheduler* scheduler;
    void* thread;
    void* (*body)(void*);
    void* arg;
};

bool isBefore(const timespec& one, const timespec& other) {
    return std::tie(one.tv_sec, one.tv_nsec) < std::tie(other.tv_sec, other.tv_nsec);
}

void sleepOn(sem_t& turn) {
    while (sem_wait(&turn) != 0)
        ;
}

}  // namespace

Scheduler::Scheduler(const Limits& limits, const Order& order) : mLimits(limits), mOrder(order) {}

Scheduler* Scheduler::current() {
    return tScheduler;
}

Scheduler::Thread& Scheduler::self() {
    return *static_cast<Thread*>(tThread);
}

void Scheduler::run(const std::function<void()>& scenario) {
    Thread& first = mThreads.emplace_back();
    sem_init(&first.turn, 0, 0);
    tThread = &first;
    tScheduler = this;
    scenario();
    for (const Thread& thread : mThreads) {
        if (thread.number != 0 && thread.state != State::kEnded) {
            fail("the scenario ends before its thread " + std::to_string(thread.number));
        }
    }
    tScheduler = nullptr;
    for (Thread& thread : mThreads)
        sem_destroy(&thread.turn);
}

int Scheduler::lock(void* mutex) {
    Thread& me = self();
    me.state = State::kWantsMutex;
    me.mutex = mutex;
    decide("locks", mutex);
    me.state = State::kReady;
    mOwners[mutex] = &me;
    return 0;
}

int Scheduler::tryLock(void* mutex) {
    decide("tries to lock", mutex);
    return mOwners.try_emplace(mutex, &self()).second ? 0 : EBUSY;
}

int Scheduler::unlock(void* mutex) {
    const auto owner = mOwners.find(mutex);
    if (owner == mOwners.end() || owner->second != &self()) fail("unlocks what it has not locked");
    mOwners.erase(owner);
    decide("has unlocked", mutex);
    return 0;
}

int Scheduler::wait(void* condition, void* mutex, const timespec* until) {
    Thread& me = self();
    const auto owner = mOwners.find(mutex);
    if (owner == mOwners.end() || owner->second != &me) fail("waits without the lock");
    mOwners.erase(owner);
    me.state = State::kWaits;
    me.condition = condition;
    me.mutex = mutex;
    me.limited = until != nullptr;
    if (until != nullptr) me.until = *until;
    me.timedOut = false;
    decide(me.limited ? "waits for a time on" : "waits on", condition);
    me.state = State::kReady;
    mOwners[mutex] = &me;
    return me.timedOut ? ETIMEDOUT : 0;
}

int Scheduler::signal(void* condition, bool all) {
    for (Thread& thread : mThreads) {
        if (thread.state != State::kWaits || thread.condition != condition) continue;
        thread.state = State::kWantsMutex;
        if (!all) break;
    }
    decide(all ? "has broadcast" : "has signalled", condition);
    return 0;
}

int Scheduler::create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                      void* arg) {
    Thread& made = mThreads.emplace_back();
    made.number = static_cast<int>(mThreads.size()) - 1;
    sem_init(&made.turn, 0, 0);
    const int error =
        real().create(&made.handle, attributes, begin, new Start{this, &made, body, arg});
    if (error != 0) fail("there is no thread to be had");
    *handle = made.handle;
    decide("has begun a thread", nullptr);
    return 0;
}

void* Scheduler::begin(void* start) {
    const Start taken = *static_cast<Start*>(start);
    delete static_cast<Start*>(start);
    auto& me = *static_cast<Thread*>(taken.thread);
    sleepOn(me.turn);
    tThread = &me;
    tScheduler = taken.scheduler;
    void* result = taken.body(taken.arg);
    taken.scheduler->end();
    return result;
}

void Scheduler::end() {
    self().state = State::kEnded;
    decide("ends", nullptr);
    // What the thread's own destructors do runs beside the others, and is not explored.
    tScheduler = nullptr;
}

int Scheduler::join(pthread_t handle, void** result) {
    Thread& me = self();
    for (const Thread& thread : mThreads) {
        if (thread.number == 0 || pthread_equal(thread.handle, handle) == 0) continue;
        me.joined = &thread;
        me.state = State::kJoins;
        decide("joins a thread", nullptr);
        me.state = State::kReady;
    }
    return real().join(handle, result);
}

int Scheduler::poll(pollfd* entries, nfds_t count) {
    Thread& me = self();
    me.polled = entries;
    me.polledCount = count;
    me.state = State::kPolls;
    decide("polls", nullptr);
    me.state = State::kReady;
    return real().poll(entries, count, 0);
}

void Scheduler::destroyMutex(void* mutex) {
    if (mOwners.count(mutex) != 0) fail("destroys a mutex that is locked");
}

void Scheduler::destroyCondition(void* condition) {
    for (const Thread& thread : mThreads) {
        if (thread.state == State::kWaits && thread.condition == condition) {
            fail("destroys a condition that thread " + std::to_string(thread.number) + " waits on");
        }
    }
}

bool Scheduler::canRun(const Thread& thread) const {
    switch (thread.state) {
        case State::kReady:
            return true;
        case State::kWantsMutex:
            return mOwners.count(thread.mutex) == 0;
        case State::kJoins:
            return thread.joined->state == State::kEnded;
        case State::kPolls:
            return real().poll(thread.polled, thread.polledCount, 0) > 0;
        default:
            return false;
    }
}

std::vector<Scheduler::Choice> Scheduler::choices() {
    std::vector<Choice> result;
    Thread& me = self();
    const bool goesOn = canRun(me);
    if (goesOn && !mYielding) result.push_back({&me, 0, 0});
    const int cost = goesOn && !mYielding ? 1 : 0;
    for (Thread& thread : mThreads) {
        if (&thread == &me || !canRun(thread)) continue;
        if (mPreemptions + cost <= mLimits.preemptions) result.push_back({&thread, cost, 0});
    }
    const bool anyRuns = !result.empty();
    for (Thread& thread : mThreads) {
        if (thread.state != State::kWaits || mOwners.count(thread.mutex) != 0) continue;
        if (!anyRuns && thread.limited) result.push_back({&thread, 0, 0});
        if (anyRuns && mWakeUps < mLimits.spuriousWakeUps) result.push_back({&thread, 0, 1});
    }
    if (result.empty() && goesOn) result.push_back({&me, 0, 0});
    if (!mAll && !result.empty()) result.resize(1, result.front());
    return result;
}

void Scheduler::yield() {
    mYielding = true;
    decide("lets others go on", nullptr);
}

void Scheduler::decide(const char* what, const void* object) {
    Thread& me = self();
    mTrace.push_back({me.number, what, object});
    const std::vector<Choice> open = choices();
    mYielding = false;
    if (open.empty()) fail("no thread can go on");
    if (mTrace.size() > kMostSteps) fail("a run does not end");
    const size_t step = mDecisions.size();
    const int taken = step < mOrder.size() ? mOrder[step] : 0;
    const int count = static_cast<int>(open.size());
    if (taken >= count) fail("a run with the same beginning went another way");
    mDecisions.push_back({taken, count});
    const Choice& chosen = open[static_cast<size_t>(taken)];
    mPreemptions += chosen.preemptions;
    mWakeUps += chosen.wakeUps;
    chosen.thread->timedOut = chosen.thread->state == State::kWaits && chosen.wakeUps == 0;
    if (chosen.thread->timedOut) mNow = std::max(mNow, chosen.thread->until, isBefore);
    if (chosen.thread != &me) handOver(*chosen.thread);
}

void Scheduler::handOver(Thread& next) {
    Thread& me = self();
    const bool ended = me.state == State::kEnded;
    sem_post(&next.turn);
    // From here on another thread runs, and the scheduler is its.
    if (!ended) sleepOn(me.turn);
}

void Scheduler::fail(const std::string& what) {
    std::map<const void*, std::string> names{{nullptr, ""}};
    for (const Step& step : mTrace) {
        const std::string& name =
            names.try_emplace(step.object, " object " + std::to_string(names.size())).first->second;
        fprintf(stderr, "  thread %d %s%s\n", step.thread, step.what, name.c_str());
    }
    Order taken;
    for (const Decision& decision : mDecisions)
        taken.push_back(decision.taken);
    while (!taken.empty() && taken.back() == 0)
        taken.pop_back();
    fprintf(stderr, "thread %d: %s\norder: %s\n", self().number, what.c_str(),
            taken.empty() ? "0" : text(taken).c_str());
    _exit(kFailed);
}

}  // namespace explorer

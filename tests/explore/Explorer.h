#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Runs a scenario with several threads once for every order of their lock operations, with a limit
// on preemptions. One thread runs at a time; at each operation on a mutex or a condition variable,
// and at each creation and end of a thread, the explorer decides which thread goes on.
//
//     explorer::Result result = explorer::explore([] {
//         std::thread other([] { … });
//         …
//         explorer::require(ended, "the callback ran after it was unregistered");
//         other.join();
//     }, limits);
//
// The locks themselves are never taken: the explorer keeps their owners, and interposes
// pthread_mutex_*, pthread_cond_*, pthread_create, pthread_join and poll for that (Interpose.cpp).
// A wait with a limit times out only when no thread can run. Nothing that a run leaves behind may
// make the next one differ: `prepare` runs before each and is not explored. In a run the monotonic
// clock stands still, but for waits that time out.

namespace explorer {

struct Limits {
    // How often a thread that could go on is interrupted for another, in one run.
    int preemptions = 3;
    // How often a waiting thread wakes without having been signalled, in one run.
    int spuriousWakeUps = 1;
    // The most runs that are made; 0 for no limit.
    uint64_t runs = 0;
};

// Which of the threads that can go on does, at each decision: 0 is the one that is running, if it
// can, and the others follow by number.
using Order = std::vector<int>;

struct Result {
    uint64_t runs = 0;
    // Whether every order within the limits was tried.
    bool complete = false;
};

// Ends the process with kFailed, and with the order on standard error, when a requirement does not
// hold, a thread waits for ever, or a run with the same beginning goes another way.
constexpr int kFailed = 3;
Result explore(const std::function<void()>& prepare, const std::function<void()>& scenario,
               const Limits& limits);

// One run with this order; decisions behind its end take the first choice.
void replay(const std::function<void()>& scenario, const Limits& limits, const Order& order);

// In a scenario, on any of its threads.
void require(bool condition, const char* what);
// While there is one of these, threads go on in one order only: for what comes before the orders
// that matter.
class Prelude {
public:
    Prelude();
    ~Prelude();
    Prelude(const Prelude&) = delete;
    Prelude& operator=(const Prelude&) = delete;
};

// A place where another thread may go on, such as the middle of a callback.
void point(const char* what);

// Lets the other threads go on as far as they can, for a loop that waits until they have. When only
// threads are left that wait with a limit, one of them times out.
void yield();

std::string text(const Order& order);

}  // namespace explorer

#include "tests/explore/Explorer.h"

#include <cstddef>

#include "tests/explore/Scheduler.h"

namespace explorer {

namespace {

// The order of the run after this one, depth first: the last decision that has a choice left takes
// it, and those behind it begin anew. Empty after the last one.
Order next(const std::vector<Scheduler::Decision>& decisions) {
    for (size_t last = decisions.size(); last-- > 0;) {
        const Scheduler::Decision& decision = decisions[last];
        if (decision.taken + 1 >= decision.choices) continue;
        Order order;
        for (size_t i = 0; i < last; ++i)
            order.push_back(decisions[i].taken);
        order.push_back(decision.taken + 1);
        return order;
    }
    return {};
}

}  // namespace

Result explore(const std::function<void()>& prepare, const std::function<void()>& scenario,
               const Limits& limits) {
    Result result;
    Order order;
    do {
        prepare();
        Scheduler scheduler(limits, order);
        scheduler.run(scenario);
        ++result.runs;
        order = next(scheduler.decisions());
        if (limits.runs != 0 && result.runs == limits.runs) break;
    } while (!order.empty());
    result.complete = order.empty();
    return result;
}

void replay(const std::function<void()>& scenario, const Limits& limits, const Order& order) {
    Scheduler(limits, order).run(scenario);
}

void require(bool condition, const char* what) {
    if (!condition) Scheduler::current()->fail(what);
}

Prelude::Prelude() {
    Scheduler::current()->explore(false);
}

Prelude::~Prelude() {
    Scheduler::current()->explore(true);
}

void point(const char* what) {
    if (Scheduler* const run = Scheduler::current()) run->point(what);
}

void yield() {
    Scheduler::current()->yield();
}

std::string text(const Order& order) {
    std::string result;
    for (const int choice : order)
        result += (result.empty() ? "" : ",") + std::to_string(choice);
    return result;
}

}  // namespace explorer

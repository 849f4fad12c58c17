#include "emulator/RequestCommands.h"

#include <string_view>

namespace emulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How long `expect` waits when it is not told.
constexpr milliseconds kPatience(5000);

// Tells how much time has passed since it was made.
class Stopwatch {
public:
    std::string passed() const {
        const auto passed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - mStart);
        return std::to_string(passed.count()) + " ms";
    }

private:
    const steady_clock::time_point mStart = steady_clock::now();
};

// What the accessory has asked before the failure, or all clients where the target names none.
std::string lastRequests(Run& run, const Target& target) {
    std::string last;
    std::string whose =
        target.accessory ? " of accessory " + std::to_string(*target.accessory) : "";
    bool known = false;
    run.service.look([&](RequestLog& log) {
        known = log.keeps();
        last = log.last(target.accessory);
        if (!last.empty() || whose.empty()) return;
        last = log.last({});
        whose = ", none of accessory " + std::to_string(*target.accessory);
    });
    if (!known) return {};
    if (last.empty()) return "; no request has come at all";
    return "; the last requests" + whose + ": " + last;
}

}  // namespace

Action waitFor(const Parsed& parsed) {
    const bool arrived = std::string_view(parsed.command->name) == "arrived";
    const auto moment = arrived ? RequestLog::kArrived : RequestLog::kSettled;
    const Target target = parsed.arguments.target();
    const uint32_t count =
        parsed.arguments.has("count") ? parsed.arguments.number<uint32_t>("count") : 1;
    if (count == 0) throw SyntaxError("COUNT is 0, so there is nothing to wait for");
    return [=, within = parsed.arguments.within()](Run& run) {
        const Stopwatch watch;
        uint32_t seen = 0;
        const auto counted = [&](RequestLog& log) {
            seen = log.count(target, moment);
            return log.take(target, moment, count);
        };
        if (run.script.waitForRequests(counted, within) || run.script.ended()) return;
        run.fail("waited for " + target.name() + ", which came " + std::to_string(seen) +
                 " times instead of " + std::to_string(count) + " within " + watch.passed() +
                 lastRequests(run, target) + run.script.circumstances());
    };
}

Action expect(const Parsed& parsed) {
    Pattern pattern = {parsed.arguments.target(), {}};
    using Pairs = std::vector<std::pair<std::string, Json>>;
    pattern.arguments = parsed.arguments.get<Pairs>("arguments");
    const auto within = parsed.arguments.within().value_or(kPatience);
    return [pattern, within](Run& run) {
        const Stopwatch watch;
        std::string instead;
        bool met = false;
        const auto matched = [&](RequestLog& log) {
            const RequestLog::Found found = log.find(pattern);
            if (found.match != nullptr && found.match->settled) {
                met = true;
                log.take(*found.match);
            } else if (found.match != nullptr) {
                instead = "it has come but is not answered yet";
                return false;
            } else if (found.other != nullptr) {
                instead = RequestLog::describe(*found.other) + " came instead";
            } else {
                instead = "it has not come";
                return false;
            }
            return true;
        };
        const bool decided = run.script.waitForRequests(matched, within);
        if (met || run.script.ended()) return;
        run.fail("expected " + pattern.shown() + ", but after " + watch.passed() + " " + instead +
                 lastRequests(run, pattern.target) + (decided ? "" : run.script.circumstances()));
    };
}

Action expectNo(const Parsed& parsed) {
    const Pattern pattern = {parsed.arguments.target(), {}};
    return [pattern, within = *parsed.arguments.within()](Run& run) {
        const Stopwatch watch;
        std::string came;
        const auto matched = [&](RequestLog& log) {
            const RequestLog::Found found = log.find(pattern);
            if (found.match != nullptr) came = RequestLog::describe(*found.match);
            return found.match != nullptr;
        };
        if (!run.script.waitForRequests(matched, within) || run.over()) return;
        run.fail("expected no " + pattern.target.name() + ", but after " + watch.passed() + " " +
                 came + " had come" + lastRequests(run, pattern.target));
    };
}

Action expectIdle(const Parsed& /*parsed*/) {
    return [](Run& run) {
        std::string left;
        run.service.look([&](RequestLog& log) { left = log.left(); });
        if (!left.empty()) run.fail("expected no further request, but these are left: " + left);
    };
}

}  // namespace emulator

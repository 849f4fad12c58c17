#include "emulator/Script.h"

#include <algorithm>

#include "emulator/ExitStatus.h"

namespace emulator {

using std::chrono::steady_clock;

namespace {

// How often it is looked whether clients are left whose program has ended. What a program has sent
// before a crash also has this time to arrive.
constexpr Script::Milliseconds kLook(500);

}  // namespace

void Script::limit(Milliseconds limit) {
    mLimit = steady_clock::now() + limit;
    mLimitLength = limit;
}

void Script::run(const Step& step) {
    // A limit that has passed is reported with the command at which it was found. One that waits
    // for requests says itself what it has waited for.
    mStep = &step;
    if (!ended() && !mFailed) Run(*this, Origin::kScript).one(step);
    over();
    mStep = nullptr;
}

void Script::waitUntil(const std::function<bool()>& done, std::optional<Time> until) {
    mWaker.waitUntil([&] { return mQuit || done(); }, until);
}

// From when on nobody is left who could send a request, if no client is connected then. A program
// that goes to the background ends with 0, and its child may still have to connect.
std::optional<Script::Time> Script::abandonedAt() const {
    const auto ended = mProgram == nullptr ? std::nullopt : mProgram->endedAt();
    if (!ended) return {};
    return *ended + (mProgram->hasFailed() ? kLook : Application::kPatience);
}

bool Script::waitForRequests(const std::function<bool(RequestLog&)>& done,
                             std::optional<Milliseconds> within) {
    std::optional<Time> until = mLimit;
    if (within) {
        const Time own = steady_clock::now() + *within;
        until = until ? std::min(*until, own) : own;
    }
    bool met = false;
    const auto settled = [&] {
        service.look([&](RequestLog& log) { met = done(log); });
        return met || mQuit;
    };
    service.watch(true);
    for (;;) {
        const std::optional<Time> abandoned = abandonedAt();
        std::optional<Time> pause = until;
        if (abandoned) {
            const Time look = std::max(*abandoned, steady_clock::now() + kLook);
            pause = until ? std::min(*until, look) : look;
        }
        mWaker.waitUntil([&] { return settled() || abandonedAt() != abandoned; }, pause);
        const auto now = steady_clock::now();
        if (met || mQuit || mWaker.interrupted() || (until && now >= *until)) break;
        if (abandoned && now >= *abandoned && service.connections().empty()) break;
    }
    service.watch(false);
    return met;
}

void Script::pause(Milliseconds milliseconds) {
    Time until = steady_clock::now() + milliseconds;
    if (mLimit) until = std::min(until, *mLimit);
    mWaker.waitUntil([this] { return mQuit.load(); }, until);
}

void Script::fail(const std::string& why) {
    if (mFailed) return;
    mFailed = true;
    Outcome outcome;
    if (mStep != nullptr) {
        outcome.command = mStep->command;
        outcome.place = mStep->place;
    }
    outcome.error = why;
    outcome.exit = kNotMet;
    // A reason that is dropped with other lines would be the one that is looked for.
    printer.waitForRoom([this] { return mWaker.interrupted(); });
    printer.outcome(outcome);
}

void Script::quit() {
    mQuit = true;
    mWaker.wake();
}

bool Script::over() {
    if (mQuit || mFailed) return true;
    if (mWaker.interrupted()) return true;
    if (!late()) return false;
    fail(circumstances().substr(2));
    return true;
}

std::string Script::circumstances() const {
    std::string all;
    if (late()) all += "; the script is not over " + limitPassed();
    const std::string fate = mProgram == nullptr ? "" : mProgram->fate();
    return fate.empty() ? all : all + "; " + fate;
}

std::string Script::limitPassed() const {
    return "after " + std::to_string(mLimitLength.count()) + " ms";
}

void Run::all(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        if (over()) return;
        one(step);
    }
}

void Run::one(const Step& step) {
    mStep = &step;
    if (mOrigin == Origin::kScript) script.mStep = &step;
    step.action(*this);
}

void Run::pause(uint32_t milliseconds) {
    if (mOrigin != Origin::kScript) return service.delay(milliseconds);
    script.pause(Script::Milliseconds(milliseconds));
}

void Run::fail(const std::string& why) {
    if (mOrigin == Origin::kScript) return script.fail(why);
    if (mOrigin == Origin::kPage) {
        mFailure = why;
        return;
    }
    Outcome outcome;
    outcome.command = mStep->command;
    outcome.place = mStep->place;
    outcome.error = why;
    outcome.exit = kDone;
    script.printer.outcome(outcome);
}

void Run::push(const Event& event, std::optional<pid_t> process) {
    // A reaction holds up the client that might have to be waited for.
    if (mOrigin != Origin::kReaction) {
        const auto over = [this] {
            return script.ended() ||
                   (mOrigin == Origin::kPage ? service.stopping() : script.late());
        };
        service.waitForRoom(over);
        script.printer.waitForRoom(over);
        if (over()) return;
    }
    // An event that nobody can get is not shown as one that was sent.
    if (process && !service.listens(*process)) {
        return fail("process " + std::to_string(*process) + " is no client that listens");
    }
    service.push(event, process);
}

}  // namespace emulator

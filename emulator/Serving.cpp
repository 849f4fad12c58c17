#include "emulator/Serving.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "emulator/ExitStatus.h"
#include "emulator/Input.h"

namespace emulator {
namespace {

using std::chrono::milliseconds;

// How long the end waits for clients that have not taken what was sent: in all, while none of them
// takes anything, and when a signal has come.
constexpr int kFarewellMs = 60'000;
constexpr int kIdleFarewellMs = 5000;
constexpr int kHastyFarewellMs = 500;
constexpr int kSliceMs = 50;

size_t runWhile(const std::vector<Step>& steps, size_t next, Script& script, bool onlyPreparing) {
    const auto over = [&] { return script.failed() || script.ended(); };
    for (; next < steps.size() && (steps[next].prepares || !onlyPreparing) && !over(); ++next)
        script.run(steps[next]);
    return next;
}

// Where the program writes. Whatever reads what the emulator prints must not find its lines there.
int outputForProgram(const Options& options) {
    if (options.outputBefore >= 0) return options.outputBefore;
    if (!options.printer.json) return STDOUT_FILENO;
    // In the background standard input leads to nobody.
    return options.background ? STDIN_FILENO : STDERR_FILENO;
}

// Lets the program end by itself for a while. The script's limit only cuts that short.
void givePatience(Application& application, Script& script) {
    const auto patience = Script::Time::clock::now() + Application::kPatience;
    const auto limit = script.deadline();
    script.unlimit();
    script.waitUntil([&] { return application.endedAt().has_value(); },
                     limit ? std::min(*limit, patience) : patience);
}

// Waits until the program has ended, or is to be ended.
void serveProgram(Application& application, const Plan& plan, const std::function<bool()>& failed,
                  Script& script) {
    if (plan.tests) return givePatience(application, script);
    script.waitUntil([&] { return application.endedAt() || failed(); }, script.deadline());
    if (!application.endedAt() && script.late()) {
        script.fail(application.name() + " has not ended " + script.limitPassed());
    }
    // What records the program, say, writes its last lines when that ends by itself.
    if (failed()) givePatience(application, script);
}

// Serves until the program, the last client or something else ends it.
void serveOn(const Options& options, const Plan& plan, Application& application, Script& script) {
    const auto failed = [&] {
        return plan.replay != nullptr && !plan.replay->fault(false).empty();
    };
    if (application.exists()) return serveProgram(application, plan, failed, script);
    if (options.exitWhenIdle) {
        script.waitUntil([&] { return script.service.idle() || failed(); }, script.deadline());
        if (script.late()) {
            const bool there = !script.service.connections().empty();
            script.fail((there ? "a client is still connected " : "no client has come ") +
                        script.limitPassed());
        }
        return;
    }
    script.unlimit();
    script.waitUntil(failed);
}

// Lets clients take what they were sent. Answers how much they did not.
size_t sayFarewell(Script& script) {
    Service& service = script.service;
    size_t left = service.waitUntilTaken(0);
    int idle = 0;
    for (int waited = 0; left > 0 && waited < kFarewellMs && idle < kIdleFarewellMs;
         waited += kSliceMs, idle += kSliceMs) {
        if (script.interrupted() && waited >= kHastyFarewellMs) break;
        const size_t before = std::exchange(left, service.waitUntilTaken(kSliceMs));
        if (left < before) idle = 0;
    }
    return left;
}

int endProgram(Application& application, Script& script, int status) {
    const tool::Waker& waker = script.waker();
    const Application::End end = application.end(waker.signalIsFromTerminal());
    if (end.killed) {
        status =
            script.printer.refuse(end.status, application.name() + " had not ended " +
                                                  std::to_string(Application::kPatience.count()) +
                                                  " ms after SIGTERM and was killed");
    }
    if (script.failed()) return kNotMet;
    if (waker.signal() != 0) return 128 + waker.signal();
    return end.obeyed ? status : std::max(status, end.status);
}

}  // namespace

size_t prepare(const Plan& plan, Script& script) {
    return runWhile(plan.steps, 0, script, /*onlyPreparing=*/true);
}

int serve(const Options& options, const Plan& plan, size_t prepared, Application& application,
          page::Page& page, Script& script) {
    if (!options.application.empty()) {
        // What the program prints comes behind the line that the service is ready.
        script.printer.flush();
        const std::string error = application.start(options.application, outputForProgram(options));
        if (!error.empty()) return script.printer.refuse(kBadInput, error);
        script.follow(application);
    }
    page.serve();
    runWhile(plan.steps, prepared, script, /*onlyPreparing=*/false);
    if (plan.replay != nullptr) {
        Run run(script, Origin::kScript);
        plan.replay->play(run);
    }
    if (script.failed()) return kNotMet;
    int status = kDone;
    if (plan.replay != nullptr && !plan.replay->fault(false).empty()) {
        if (application.exists()) givePatience(application, script);
        return status;
    }
    const bool reads =
        (options.script.empty() && options.application.empty()) || options.thenPrompt;
    if (reads && !script.ended() && standardInputHasCommands()) {
        status = runStandardInput(script, options.keepGoing);
        if (script.failed()) return kNotMet;
        if (status != kDone && !options.keepGoing) return status;
    }
    if (!script.ended()) serveOn(options, plan, application, script);
    return script.failed() ? static_cast<int>(kNotMet) : status;
}

int finish(Application& application, Script& script, int status, size_t& notTaken) {
    // A program that has failed need not take anything any more.
    if (!script.failed()) notTaken = sayFarewell(script);
    if (application.exists()) status = endProgram(application, script, status);
    if (script.failed()) notTaken = sayFarewell(script);
    return status;
}

}  // namespace emulator

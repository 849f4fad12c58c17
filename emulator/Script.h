#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/Application.h"
#include "emulator/Printer.h"
#include "emulator/Service.h"
#include "tool/Waker.h"

// Commands that have been read, and how they are run.

namespace emulator {

class Run;

// One command.
struct Step {
    // "FILE:LINE".
    std::string place;
    std::string command;
    std::function<void(Run&)> action;
    // Whether it only says how the service is from now on.
    bool prepares = false;
};

// Kept by those who run it, which may be a reaction long after its line was read.
using Program = std::shared_ptr<const std::vector<Step>>;

// The run of all commands, on the main thread.
class Script {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Milliseconds = std::chrono::milliseconds;

    Script(Service& served, Printer& printing, tool::Waker& waker)
        : service(served), printer(printing), mWaker(waker) {}

    Service& service;
    Printer& printer;

    // Fails if the script is not over this long from now.
    void limit(Milliseconds limit);
    void unlimit() { mLimit.reset(); }
    std::optional<Time> deadline() const { return mLimit; }
    void run(const Step& step);
    // Waits until `done`, `until` or the end of the emulator.
    void waitUntil(const std::function<bool()>& done, std::optional<Time> until = std::nullopt);

    // Waits until `done` with the requests that have come, at most for `within` if given. False
    // when the time is up first, or when nobody is left who could send a request; also when the
    // script is over, so ask for that.
    bool waitForRequests(const std::function<bool(RequestLog&)>& done,
                         std::optional<Milliseconds> within);
    void pause(Milliseconds milliseconds);

    // Ends the script, since the clients have not done what they should, and says so.
    void fail(const std::string& why);
    // From now on the program is the one whose requests are waited for. It outlives the script's
    // commands.
    void follow(Application& program) { mProgram = &program; }
    // Ends the emulator. From any thread.
    void quit();

    // Whether no further command is to run. Looks at the clock, too.
    bool over();
    // Whether the limit has passed.
    bool late() const { return mLimit && std::chrono::steady_clock::now() >= *mLimit; }
    // That the limit has passed and that the program has ended, if so, to be added to a sentence.
    std::string circumstances() const;
    // "after N ms", of the limit.
    std::string limitPassed() const;
    bool interrupted() const { return mWaker.interrupted(); }
    // Whether the emulator is to end.
    bool ended() const { return mQuit || mWaker.interrupted(); }
    bool failed() const { return mFailed; }
    // Goes on after a failure.
    void forgive() { mFailed = false; }
    tool::Waker& waker() { return mWaker; }

private:
    friend class Run;

    std::optional<Time> abandonedAt() const;

    tool::Waker& mWaker;
    std::atomic<bool> mQuit = false;
    bool mFailed = false;
    std::optional<Time> mLimit;
    Milliseconds mLimitLength{0};
    Application* mProgram = nullptr;
    // The command that runs, if any.
    const Step* mStep = nullptr;
};

// On whose behalf commands run: of the script on the main thread, of a reaction on the thread that
// has answered, or of a page on one of its own.
enum class Origin { kScript, kReaction, kPage };

// One run of commands.
class Run {
public:
    Run(Script& running, Origin origin)
        : script(running), service(running.service), mOrigin(origin) {}

    void all(const std::vector<Step>& steps);
    void one(const Step& step);
    bool over() { return mOrigin == Origin::kScript ? script.over() : service.stopping(); }
    void pause(uint32_t milliseconds);
    void push(const Event& event, std::optional<pid_t> process);
    // A reaction that cannot be run is reported as well, but ends nothing. A page is told.
    void fail(const std::string& why);
    // Why a command of a page could not be run; empty when all could.
    const std::string& failure() const { return mFailure; }

    Script& script;
    Service& service;

private:
    const Origin mOrigin;
    std::string mFailure;
    const Step* mStep = nullptr;
};

}  // namespace emulator

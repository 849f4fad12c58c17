#include "mirvoctl/Monitor.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mirvoctl/LibraryLog.h"
#include "mirvoctl/Watcher.h"
#include "tool/Waker.h"

namespace mirvoctl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long after the loss of the service its last events are waited for: they may still be on their
// way, on threads of their own.
constexpr milliseconds kLast(200);

// Counts and prints events. Belongs to the main thread.
class Monitor {
public:
    Monitor(Context& context, const MonitorOptions& options)
        : mContext(context), mOutput(context.output), mOptions(options) {
        if (mOptions.duration) mEnd = Clock::now() + *mOptions.duration;
    }

    Outcome run() {
        tool::Waker waker(mOutput.standard());
        const auto watcher = std::make_shared<Watcher>(
            mContext.connection, mOutput.clock(), mOptions.ids,
            Watcher::Sink{[this](const Watcher::Event& event) { show(event); },
                          [this](const std::vector<uint32_t>& ids) { showWatching(ids); },
                          [this](const Failure& failure) { fail(failure); }});
        watcher->start(mOptions.follow);
        while (mReason.empty()) {
            const bool readable = waker.waitReadable(watcher->fd(), nextTime());
            if (waker.interrupted()) {
                mReason = waker.signal() != 0 ? "signal" : "output";
            } else if (readable) {
                watcher->dispatch();
            } else if (mLossOver && Clock::now() >= *mLossOver) {
                endLoss(*watcher);
            } else if (mEnd && Clock::now() >= *mEnd) {
                mReason = "time";
            }
        }
        watcher->stop();
        // In the shell, too, since it is sent to the program and not typed at what it is doing.
        if (waker.signal() == SIGTERM) mContext.quit = true;
        return outcome();
    }

private:
    std::optional<tool::Waker::Time> nextTime() const {
        if (!mEnd || !mLossOver) return mEnd ? mEnd : mLossOver;
        return std::min(*mEnd, *mLossOver);
    }

    void show(const Watcher::Event& event) {
        if (!mReason.empty()) return;
        mOutput.event(event.name, event.fields, event.time, mOptions.timestamps);
        ++mCount;
        if (event.name == "onError" && !mLossOver) mLossOver = Clock::now() + kLast;
        if (mOptions.count && mCount >= *mOptions.count) mReason = "count";
        if (event.name == mOptions.until) mReason = "until";
    }

    void showWatching(const std::vector<uint32_t>& ids) {
        if (!mReason.empty()) return;
        mListening = true;
        showOwn("monitoring", {{"accessories", ids}});
    }

    // What the monitor itself has to say.
    void showOwn(const char* name, const Json& fields) {
        mOutput.event(name, fields, mOutput.clock().milliseconds(), mOptions.timestamps);
    }

    void fail(const Failure& failure) {
        if (mReason.empty()) mReason = "failure";
        mFailure = failure;
    }

    void endLoss(Watcher& watcher) {
        mLossOver.reset();
        const std::string reason = LibraryLog::takeCutOffReason();
        const std::string what = reason.empty()
                                     ? "the service is gone"
                                     : "the service lives, but has cut mirvoctl off: " + reason;
        if (!mOptions.follow) {
            return fail(Failure(kNoService, what + (reason.empty() ? ": start it again" : "")));
        }
        showOwn("lost", {{"reason", what}});
        watcher.restart();
    }

    // Says what is missing when it was ended by something else than what it waits for.
    void notMet(Outcome& outcome) const {
        const std::string ended =
            std::string(": ended by ") + (mReason == "time" ? "--for" : "a signal");
        if (!mListening) {
            outcome.exit = kRefused;
            outcome.error =
                "no event could be heard, since no service had answered monitor's first requests" +
                ended;
        } else if (mOptions.count || !mOptions.until.empty()) {
            outcome.exit = kNotSeen;
            outcome.error = (mOptions.until.empty() ? "not as many events as --count asks for"
                                                    : "no " + mOptions.until) +
                            " came, but " + std::to_string(mCount) + " events" + ended;
        }
    }

    Outcome outcome() const {
        Outcome outcome;
        outcome.data = {{"events", mCount}, {"ended", mReason}};
        if (mFailure) {
            outcome.exit = mFailure->status();
            outcome.error = mFailure->what();
        } else if (mReason == "time" || mReason == "signal") {
            notMet(outcome);
        }
        return outcome;
    }

    Context& mContext;
    const Output& mOutput;
    const MonitorOptions mOptions;
    std::optional<tool::Waker::Time> mEnd;
    // While a loss of the service is being waited out.
    std::optional<tool::Waker::Time> mLossOver;
    // Whether it has missed nothing since some moment.
    bool mListening = false;
    uint32_t mCount = 0;
    // Why it ends; empty while it goes on.
    std::string mReason;
    std::optional<Failure> mFailure;
};

}  // namespace

Outcome monitor(Context& context, const MonitorOptions& options) {
    return Monitor(context, options).run();
}

}  // namespace mirvoctl

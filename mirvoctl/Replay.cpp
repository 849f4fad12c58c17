#include <atomic>
#include <csignal>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "mirvoctl/Recordings.h"
#include "mirvoctl/ReplayPlan.h"
#include "protocol/ProcessState.h"
#include "recording/Messages.h"
#include "tool/Waker.h"

namespace mirvoctl {
namespace {

using namespace accessory;
using android::AutoMutex;
using recording::Decoded;
using recording::Timeline;

// Stands for a listener of the recording.
class Listener final : public ServiceNotifyListener {
public:
    Listener(ReplayPlan& plan, uint32_t number) : mPlan(plan), mNumber(number) {}

    void onNotify(sp<ServiceNotify>& notify) override {
        const sp<Listener> self(this);
        if (notify == nullptr) return;
        if (notify->type() != ServiceStatusNotify::kType) {
            return mPlan.received(mNumber, mPlan.nameOf(recording::decode(*notify)));
        }
        // Its class is the framework's own.
        const auto* status = static_cast<ServiceStatusNotify*>(notify.get());
        if (status->status == ServiceStatusNotify::kServiceLost) {
            mPlan.received(mNumber, ReplayPlan::kLost);
        }
    }

private:
    ReplayPlan& mPlan;
    const uint32_t mNumber;
};

// The application of a recording, with as many threads, bindings and listeners.
class Application {
public:
    Application(const Timeline& timeline, const RecordingOptions& options, Context& context)
        : mTimeline(timeline),
          mEntries(timeline.entries()),
          mOptions(options),
          mContext(context),
          mPlan(timeline, options) {}

    ReplayPlan::Events run() {
        android::ProcessState::self()->startThreadPool();
        ReplayPlan::Events events;
        std::atomic<bool> over{false};
        tool::Waker waker(mContext.output.standard());
        std::thread player([&] {
            events = play();
            over = true;
            waker.wake();
        });
        if (!waker.waitUntil([&] { return over.load(); })) {
            mSignal = waker.signal();
            mPlan.giveUp();
        }
        player.join();
        const AutoMutex lock(mLock);
        if (mFailure) throw Failure(*mFailure);
        return events;
    }

    size_t requests() const { return mRequests; }
    size_t otherwise() const { return mOtherwise; }
    // The signal that ended the replay; 0 when none did.
    int signal() const { return mSignal; }

private:
    ReplayPlan::Events play() {
        std::vector<std::thread> threads;
        try {
            for (const auto& [number, steps] : mPlan.threads())
                threads.emplace_back([this, all = &steps] { perform(*all); });
        } catch (const std::system_error& error) {
            fail({kNotSeen, "the recording has " + std::to_string(mPlan.threads().size()) +
                                " threads, and no more than " + std::to_string(threads.size()) +
                                " can be started here: " + error.code().message()});
        }
        for (std::thread& thread : threads)
            thread.join();
        ReplayPlan::Events events = mPlan.finish();
        leave();
        return events;
    }

    void fail(const Failure& failure) {
        {
            const AutoMutex lock(mLock);
            mFailure = failure;
        }
        mPlan.giveUp();
    }

    void perform(const std::vector<size_t>& steps) {
        for (const size_t step : steps) {
            if (!mPlan.await(step)) return;
            perform(step);
            mPlan.taken(step);
        }
    }

    void perform(size_t step) {
        const Timeline::Entry& entry = mEntries[step];
        const auto& header = entry.header;
        switch (entry.kind()) {
            case FrameKind::kBound:
                return bind(header.binding);
            case FrameKind::kUnbound: {
                // Released without the lock, since the framework may wait for its threads.
                const sp<ServiceClient> client = takeClient(header.binding);
                return;
            }
            case FrameKind::kListenerSet:
                return setListener(header.binding, header.listener);
            case FrameKind::kListenerRemoved:
                return removeListener(header.binding, header.listener);
            default:
                return request(entry);
        }
    }

    void bind(uint32_t binding) {
        try {
            sp<ServiceClient> client =
                mContext.connection.bind(std::chrono::milliseconds(mOptions.patience));
            const AutoMutex lock(mLock);
            mClients[binding] = client;
        } catch (const Failure& failure) {
            fail(failure);
        }
    }

    sp<ServiceClient> client(uint32_t binding) {
        const AutoMutex lock(mLock);
        return mClients[binding];
    }

    sp<ServiceClient> takeClient(uint32_t binding) {
        const AutoMutex lock(mLock);
        return std::exchange(mClients[binding], nullptr);
    }

    void setListener(uint32_t binding, uint32_t number) {
        sp<ServiceNotifyListener> listener = new Listener(mPlan, number);
        {
            const AutoMutex lock(mLock);
            mListeners[number] = {binding, listener};
        }
        const sp<ServiceClient> to = client(binding);
        if (to != nullptr) to->setNotifyListener(listener);
    }

    void removeListener(uint32_t binding, uint32_t number) {
        sp<ServiceNotifyListener> listener;
        {
            const AutoMutex lock(mLock);
            listener = mListeners[number].second;
            mListeners.erase(number);
        }
        const sp<ServiceClient> from = client(binding);
        if (from != nullptr && listener != nullptr) from->removeNotifyListener(listener);
    }

    // What the application of a recording without an end had not released.
    void leave() {
        std::map<uint32_t, std::pair<uint32_t, sp<ServiceNotifyListener>>> listeners;
        {
            const AutoMutex lock(mLock);
            listeners = mListeners;
        }
        for (const auto& [number, listener] : listeners)
            removeListener(listener.first, number);
    }

    void request(const Timeline::Entry& entry) {
        sp<ServiceItem> item = recording::itemOf(mTimeline.record(entry));
        const sp<ServiceClient> to = client(entry.header.binding);
        // The library itself sends nothing else.
        if (item == nullptr || to == nullptr) return;
        const sp<ServiceReply> reply = to->request(item);
        const Decoded asked = mTimeline.decode(entry);
        std::optional<Decoded> answer;
        if (reply != nullptr) answer = recording::decode(*reply);
        const Json now = mPlan.comparison()(answerTo(asked, answer ? &*answer : nullptr));
        const auto recorded = mTimeline.answerTo(entry);
        ++mRequests;
        if (!recorded || mPlan.comparison()(*recorded) == now) return;
        ++mOtherwise;
        tell(asked, *recorded, now);
    }

    void tell(const Decoded& asked, const Json& recorded, const Json& now) {
        tool::StandardOutput& standard = mContext.output.standard();
        if (!mContext.output.json) {
            standard.writeLine(shown(asked) + " ->" + tool::pairs(now) + ", was" +
                               tool::pairs(recorded));
            return;
        }
        Json fields = {{"time", mContext.output.clock().milliseconds()}, {"request", asked.name}};
        if (asked.accessory) fields["accessory"] = *asked.accessory;
        fields["arguments"] = asked.arguments;
        fields["answer"] = now;
        fields["recorded"] = recorded;
        standard.writeLine(tool::dump(fields));
    }

    const Timeline& mTimeline;
    const std::vector<Timeline::Entry>& mEntries;
    const RecordingOptions& mOptions;
    Context& mContext;
    ReplayPlan mPlan;
    std::atomic<size_t> mRequests{0};
    std::atomic<size_t> mOtherwise{0};
    int mSignal = 0;

    android::Mutex mLock;
    std::optional<Failure> mFailure GUARDED_BY(mLock);
    std::map<uint32_t, sp<ServiceClient>> mClients GUARDED_BY(mLock);
    // By their number in the recording, each with its binding.
    std::map<uint32_t, std::pair<uint32_t, sp<ServiceNotifyListener>>> mListeners GUARDED_BY(mLock);
};

}  // namespace

Outcome replay(Context& context, Arguments& arguments) {
    const RecordingOptions& options = arguments.recording;
    const Timeline timeline = load(options.file);
    const std::string why = timeline.whyNotReplayable();
    if (!why.empty()) throw Failure(kBadCommand, options.file + " cannot be replayed: " + why);
    Application application(timeline, options, context);
    const ReplayPlan::Events events = application.run();

    Outcome outcome;
    outcome.data = {{"requests", application.requests()},
                    {"otherwise", application.otherwise()},
                    {"eventsCame", events.came},
                    {"eventsMissed", events.missed},
                    {"eventsOther", events.others}};
    outcome.text = "requests=" + std::to_string(application.requests()) +
                   " otherwise=" + std::to_string(application.otherwise()) +
                   " events=" + std::to_string(events.came) +
                   " missed=" + std::to_string(events.missed.size()) +
                   " others=" + std::to_string(events.others) + "\n";
    const std::string after =
        " after " + std::to_string(application.requests()) + " requests of the replay";
    if (application.signal() != 0) {
        // In the shell, too, as for a monitor.
        context.quit = context.quit || application.signal() == SIGTERM;
        outcome.exit = kNotSeen;
        outcome.error = "a signal came" + after;
    } else if (events.lost) {
        outcome.exit = kNoService;
        outcome.error = "the service was lost" + after + ", where the recording goes on with it";
    } else if (application.otherwise() > 0 || !events.missed.empty()) {
        outcome.exit = kRefused;
        outcome.error = std::to_string(application.otherwise()) +
                        " requests were answered otherwise than when they were recorded, and " +
                        std::to_string(events.missed.size()) + " events did not come";
        if (!events.missed.empty()) outcome.error += ", the first of them " + events.missed.front();
    }
    return outcome;
}

}  // namespace mirvoctl

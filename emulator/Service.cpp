#include "emulator/Service.h"

#include <utils/Timers.h>

#include <algorithm>
#include <string_view>

#include "protocol/MirvoServiceInfo.h"
#include "recording/Messages.h"
#include "recording/Row.h"

namespace emulator {

using namespace accessory;
using android::AutoMutex;

namespace {

// How long a client that takes nothing is waited for. A client that has a slower reader than that
// is cut off when its queue is full.
constexpr int kPatienceMs = 2000;

}  // namespace

Service::Service(Printer& printer, tool::Waker& waker)
    : mPrinter(printer),
      mWaker(waker),
      mHost(new MirvoServiceInfo, [this](HostRequest& request) { return handle(request); },
            {"", ServiceHost::Options().queueLimit, [this](size_t /*clients*/) {
                 {
                     AutoMutex lock(mLock);
                     mSeenClient = true;
                 }
                 mWaker.wake();
             }}) {}

bool Service::start() {
    return mHost.start();
}

void Service::stop() {
    {
        AutoMutex lock(mLock);
        mStopping = true;
        mStopped.broadcast();
    }
    mHost.stop();
}

void Service::push(const Event& event, std::optional<pid_t> process) {
    mPrinter.event(event);
    if (mAudience != nullptr) mAudience->event(event);
    if (process) {
        mHost.notify(event.notification, *process);
    } else {
        mHost.notify(event.notification);
    }
}

void Service::waitForRoom(const std::function<bool()>& over) {
    mHost.waitForRoom(kPatienceMs, over);
}

size_t Service::waitUntilTaken(int milliseconds) {
    return mHost.waitUntilTaken(milliseconds);
}

void Service::change(const std::function<void(World&)>& change) {
    AutoMutex lock(mLock);
    change(mWorld);
}

void Service::changeAnswers(const std::function<void(Answers&)>& change) {
    AutoMutex lock(mLock);
    change(mAnswers);
}

void Service::changeReactions(const std::function<void(Reactions&)>& change) {
    AutoMutex lock(mLock);
    change(mReactions);
}

void Service::look(const std::function<void(RequestLog&)>& look) {
    AutoMutex lock(mLock);
    look(mLog);
}

std::vector<ServiceHost::Connection> Service::connections() const {
    return mHost.connections();
}

bool Service::drop(pid_t process) {
    return mHost.disconnect(process, "a command of the emulator dropped this client");
}

bool Service::idle() const {
    if (mHost.clients() > 0) return false;
    AutoMutex lock(mLock);
    return mSeenClient;
}

bool Service::listens(pid_t process) const {
    const auto all = connections();
    return std::any_of(all.begin(), all.end(), [=](const ServiceHost::Connection& each) {
        return each.process == process && each.listens;
    });
}

Reply Service::handle(HostRequest& hostRequest) {
    ServiceItem& item = *hostRequest.item;
    const Request request = identify(item);
    Rule rule;
    Reply reply;
    uint64_t number = 0;
    std::optional<Replay::Answer> recorded;
    if (mReplay != nullptr) recorded = mReplay->take(request, item, hostRequest.connection);
    {
        AutoMutex lock(mLock);
        if (recorded) {
            reply = recorded->reply;
            rule.delayMs = recorded->delayMs;
            if (reply == nullptr) {
                rule.instead = recorded->silent ? Rule::Instead::kSilence : Rule::Instead::kNoReply;
            }
        } else {
            rule = mAnswers.take(request).value_or(Rule());
            reply = mWorld.answer(request, item, rule);
        }
        number = mLog.arrived(request, hostRequest.item);
    }
    const Asker asker = {hostRequest.process, hostRequest.connection};
    mPrinter.request(request, item, asker, reply, rule);
    uint64_t told = 0;
    if (mAudience != nullptr) {
        told = mAudience->request(request, hostRequest.item, asker, reply, rule);
    }
    if (mWatched || mReplay != nullptr) mWaker.wake();
    if (rule.delayMs > 0) delay(rule.delayMs);
    // An inquiry that the service has accepted is answered by an event. A recording has its own.
    if (!recorded && std::string_view(request.name()) == "sendTimeDateInquiry" &&
        resultOf(reply) == 0) {
        const Notification notification = timeDateNow(*request.accessory);
        const recording::Decoded decoded = recording::decode(*notification);
        if (mAudience != nullptr) {
            mAudience->event({notification, recording::eventFields(decoded), commandOf(decoded)});
        }
        mHost.notify(notification);
    }
    hostRequest.noReply = rule.instead == Rule::Instead::kNoReply;
    hostRequest.settled = [this, number, told, request, recorded] {
        if (recorded) mReplay->settled(*recorded);
        settle(number, told, request);
    };
    return reply;
}

void Service::settle(uint64_t number, uint64_t told, const Request& request) {
    if (mAudience != nullptr) mAudience->settled(told);
    std::optional<Reaction> reaction;
    {
        AutoMutex lock(mLock);
        mLog.settled(number, request);
        reaction = mReactions.take(request);
    }
    if (mWatched || mReplay != nullptr) mWaker.wake();
    if (reaction) (*reaction)();
}

void Service::delay(uint32_t milliseconds) {
    const nsecs_t until = systemTime() + milliseconds * nsecs_t{1'000'000};
    AutoMutex lock(mLock);
    while (!mStopping) {
        const nsecs_t left = until - systemTime();
        if (left <= 0) return;
        mStopped.waitRelative(mLock, left);
    }
}

}  // namespace emulator

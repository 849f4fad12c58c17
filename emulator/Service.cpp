#include "emulator/Service.h"

#include <utils/Timers.h>

#include "protocol/MirvoServiceInfo.h"

namespace emulator {

using namespace accessory;

Service::Service(const Printer& printer, tool::Waker& waker, const std::string& directory)
    : mPrinter(printer),
      mWaker(waker),
      mHost(new MirvoServiceInfo,
            [this](ServiceHost::Request& request) { return handle(*request.item); },
            {directory, ServiceHost::Options().queueLimit, [this](size_t /*clients*/) {
                 {
                     android::AutoMutex lock(mLock);
                     mSeenClient = true;
                 }
                 mWaker.wake();
             }}) {}

Service::~Service() {
    {
        android::AutoMutex lock(mLock);
        mStopping = true;
        mStopped.broadcast();
    }
    mHost.stop();
}

bool Service::start() {
    if (!mHost.start()) return false;
    const sp<ServiceInfo> info = new MirvoServiceInfo;
    android::AutoMutex lock(mLock);
    mPrinter.ready(info->servicename());
    return true;
}

void Service::push(const Notification& notification, const std::string& command) {
    {
        android::AutoMutex lock(mLock);
        mPrinter.event(command);
    }
    mHost.notify(notification);
}

void Service::change(const std::function<void(World&)>& change) {
    android::AutoMutex lock(mLock);
    change(mWorld);
}

void Service::changeAnswers(const std::function<void(Answers&)>& change) {
    android::AutoMutex lock(mLock);
    change(mAnswers);
}

bool Service::takeArrivals(const std::string& target, uint32_t count) {
    android::AutoMutex lock(mLock);
    uint32_t& arrived = mArrivals[target];
    if (arrived < count) return false;
    arrived -= count;
    return true;
}

bool Service::idle() const {
    if (mHost.clients() > 0) return false;
    android::AutoMutex lock(mLock);
    return mSeenClient;
}

sp<ServiceReply> Service::handle(ServiceItem& item) {
    const Request request = decode(item);
    Rule rule;
    Answer answer;
    {
        android::AutoMutex lock(mLock);
        rule = mAnswers.take(request);
        answer = mWorld.answer(request, item, rule);
        mPrinter.request(request, answer.shown);
        ++mArrivals[request.name];
        if (request.accessory) ++mArrivals[Answers::target(request.name, request.accessory)];
    }
    mWaker.wake();
    delay(rule.delayMs);
    // An inquiry that the service has accepted is answered by an event.
    if (request.name == "sendTimeDateInquiry" && answer.shown.value("result", -1) == 0) {
        mHost.notify(timeDateNow(*request.accessory));
    }
    return answer.reply;
}

void Service::delay(int64_t milliseconds) {
    const nsecs_t until = systemTime() + milliseconds * 1'000'000;
    android::AutoMutex lock(mLock);
    while (!mStopping) {
        const nsecs_t left = until - systemTime();
        if (left <= 0) return;
        mStopped.waitRelative(mLock, left);
    }
}

}  // namespace emulator

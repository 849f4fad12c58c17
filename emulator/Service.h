#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "emulator/Answers.h"
#include "emulator/Events.h"
#include "emulator/Printer.h"
#include "emulator/World.h"
#include "standin/ServiceHost.h"
#include "tool/Waker.h"

namespace emulator {

// The emulated service: answers requests on the host's threads, out of a world and rules that the
// thread of the commands changes. Thread-safe.
class Service {
public:
    Service(const Printer& printer, tool::Waker& waker, const std::string& directory);
    ~Service();

    bool start();

    // Pushes a notification that `command` asks for, which is printed.
    void push(const Notification& notification, const std::string& command);

    void change(const std::function<void(World&)>& change);
    void changeAnswers(const std::function<void(Answers&)>& change);

    // Whether `count` requests of `target`, as Answers names it, have come that no call has counted
    // before. Counts them if so.
    bool takeArrivals(const std::string& target, uint32_t count);

    // Whether clients have been here and none is left.
    bool idle() const;

private:
    accessory::sp<accessory::ServiceReply> handle(accessory::ServiceItem& item);
    void delay(int64_t milliseconds);

    const Printer& mPrinter;
    tool::Waker& mWaker;

    mutable android::Mutex mLock;
    android::Condition mStopped;
    bool mStopping GUARDED_BY(mLock) = false;
    bool mSeenClient GUARDED_BY(mLock) = false;
    World mWorld GUARDED_BY(mLock);
    Answers mAnswers GUARDED_BY(mLock);
    std::map<std::string, uint32_t> mArrivals GUARDED_BY(mLock);

    // Last, so that its threads end before what they use.
    accessory::ServiceHost mHost;
};

}  // namespace emulator

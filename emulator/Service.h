#pragma once

#include <sys/types.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "emulator/Answers.h"
#include "emulator/Audience.h"
#include "emulator/Events.h"
#include "emulator/Printer.h"
#include "emulator/Replay.h"
#include "emulator/RequestLog.h"
#include "emulator/World.h"
#include "standin/ServiceHost.h"
#include "tool/Waker.h"

namespace emulator {

// The emulated service: answers requests on the host's threads, out of a world and rules that
// commands change. Thread-safe.
class Service {
public:
    // What runs after the answer to a request.
    using Reaction = std::function<void()>;
    using Reactions = ByTarget<Reaction>;

    Service(Printer& printer, tool::Waker& waker);
    ~Service() { stop(); }

    // Who else is told of requests and events, as long as the service exists. Before start().
    void tell(Audience& audience) { mAudience = &audience; }

    // Has a recording answer first. Before start(); the replay outlives this.
    void answerBy(Replay* replay) { mReplay = replay; }

    bool start();
    // Waits for the answers and the reactions that are under way.
    void stop();
    // Whether stop() has been called.
    bool stopping() const { return mStopping; }

    // Pushes the notification of an event, which is printed, to all clients or to one process.
    void push(const Event& event, std::optional<pid_t> process);
    // Waits until what has been pushed can be taken by clients that read, or `over` holds. For the
    // thread of the commands.
    void waitForRoom(const std::function<bool()>& over);
    // Waits until what has been pushed has been taken, at most for so long. Answers how much has
    // not.
    size_t waitUntilTaken(int milliseconds);

    void change(const std::function<void(World&)>& change);
    void changeAnswers(const std::function<void(Answers&)>& change);
    void changeReactions(const std::function<void(Reactions&)>& change);

    // Looks at the requests that have come. As long as somebody watches, the waker is woken when
    // there is another one.
    void look(const std::function<void(RequestLog&)>& look);
    void watch(bool watching) { mWatched = watching; }

    // Sleeps, though not beyond stop().
    void delay(uint32_t milliseconds);

    std::vector<accessory::ServiceHost::Connection> connections() const;
    // Closes the connections of a process. False when it has none.
    bool drop(pid_t process);
    // How many clients have begun to listen so far. The waker is woken when there is another one.
    size_t listened() const { return mHost.listened(); }
    // Whether clients have been here and none is left.
    bool idle() const;
    // Whether the process is a client that gets events.
    bool listens(pid_t process) const;

private:
    using HostRequest = accessory::ServiceHost::Request;

    Reply handle(HostRequest& hostRequest);
    void settle(uint64_t number, uint64_t told, const Request& request);

    Printer& mPrinter;
    tool::Waker& mWaker;
    Audience* mAudience = nullptr;
    Replay* mReplay = nullptr;

    mutable android::Mutex mLock;
    android::Condition mStopped;
    std::atomic<bool> mStopping = false;
    std::atomic<bool> mWatched = false;
    bool mSeenClient GUARDED_BY(mLock) = false;
    World mWorld GUARDED_BY(mLock);
    Answers mAnswers GUARDED_BY(mLock);
    Reactions mReactions GUARDED_BY(mLock);
    RequestLog mLog GUARDED_BY(mLock);

    // Last, so that its threads end before what they use.
    accessory::ServiceHost mHost;
};

}  // namespace emulator

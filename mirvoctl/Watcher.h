#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <zrmirvo/EventQueue.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mirvoctl/Connection.h"
#include "mirvoctl/Events.h"
#include "mirvoctl/Output.h"
#include "mirvoctl/Worker.h"

namespace mirvoctl {

// Registers with the service and its accessories and hands over what they send. Makes its requests
// on a thread of its own, so that neither events nor the end wait for one.
//
// Threads: made, asked and destroyed by the main thread. The sink runs inside dispatch().
class Watcher final : public std::enable_shared_from_this<Watcher>,
                      private zrmirvo::ZRMirvoManagerCallback {
public:
    struct Event {
        std::string name;
        Json fields;
        // In milliseconds, when the library brought it.
        int64_t time;
    };
    struct Sink {
        // Something that the library called back.
        std::function<void(const Event& event)> event;
        // From now on nothing is missed that these accessories send.
        std::function<void(const std::vector<uint32_t>& accessories)> watching;
        // There is no going on.
        std::function<void(const Failure& failure)> failed;
    };

    Watcher(Connection& connection, const tool::Clock& clock, std::vector<uint32_t> ids, Sink sink);

    // Begins. Where `wait` is set, waits for a service that is not there.
    void start(bool wait);
    // Looks for the service again.
    void restart();
    // Ends, and has the connection wait for a request that is under way.
    void stop();

    // Is readable while something waits for dispatch().
    int fd() const { return mQueue.fd(); }
    void dispatch();

private:
    void onError() override;
    void onAttach(unsigned int accessoryId) override;
    void onDetach(unsigned int accessoryId) override;

    // From any thread. Waits for room, as long as the main thread takes what is there, so that
    // nothing is lost: then the service sees a client that is slow.
    void put(std::function<void()> task, size_t bytes = 0);
    void putEvent(const std::string& name, const Json& fields);

    // These run on the worker's thread.
    void connect(bool wait);
    void watchAll();
    bool watch(uint32_t id);
    void forget(uint32_t id);
    void forgetAll();
    void announce();

    struct Device {
        zrmirvo::ZRMirvo* instance;
        std::unique_ptr<DeviceEvents> events;
        bool detached;
    };

    Connection& mConnection;
    const tool::Clock& mClock;
    const std::vector<uint32_t> mIds;
    const Sink mSink;

    zrmirvo::EventQueue mQueue;
    android::Mutex mLock;
    android::Condition mRoom;
    bool mStopped GUARDED_BY(mLock) = false;

    Worker mWorker;
    std::future<void> mEnd;
    // The worker's.
    zrmirvo::ZRMirvoManager* mManager = nullptr;
    std::map<uint32_t, Device> mDevices;
};

}  // namespace mirvoctl

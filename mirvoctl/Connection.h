#pragma once

#include <utils/Mutex.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "protocol/ServiceFramework.h"

namespace mirvoctl {

// Whether the wait for a service is to be given up.
using GiveUp = std::function<bool()>;

// The library's manager and its instances, obtained when they are first needed and, after the
// service was lost, again. One thread at a time. Whatever cannot be had is a Failure.
class Connection {
public:
    Connection() : mEvents(*this) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // How long a service that is not there is waited for. Not at all at first.
    void setWait(std::chrono::milliseconds wait) { mWait = wait; }

    // Asks the service for its version whenever it connects: the library asks once in the life of
    // the process and would take every later service for the first one.
    zrmirvo::ZRMirvoManager& manager();
    zrmirvo::ZRMirvo& device(uint32_t accessoryId);

    // The accessories that are attached, for completion: none when that is not known within a
    // moment. The connection then waits for the request that is still under way.
    std::vector<uint32_t> idsIfQuick();

    // As manager(), but waits for the service until `giveUp`; null then. Looks for it anew if it
    // was lost.
    zrmirvo::ZRMirvoManager* managerWhenThere(const GiveUp& giveUp);

    // A binding of the caller's own, for which the service is waited for at least so long.
    accessory::sp<accessory::ServiceClient> bind(std::chrono::milliseconds patience) const;

    // What the service itself says, asked past the library, which would make an answer up.
    std::string serviceVersion();
    // The library's version. The library is asked only when the service's version fits: it would
    // remember one that does not and refuse every service for the rest of the process's life.
    static std::string libraryVersion(const std::string& serviceVersion);

    // Gives the manager back, with all instances.
    void release();

    // Has manager() wait for a thread that still uses this connection.
    void useWhenReady(std::future<void> ready);
    // Whether there still is one. The process then exits without destroying anything.
    bool busy() const;

private:
    class LossEvents final : public zrmirvo::ZRMirvoManagerCallback {
    public:
        explicit LossEvents(Connection& connection) : mConnection(connection) {}
        void onError() override { mConnection.mLost = true; }
        void onAttach(unsigned int) override {}
        void onDetach(unsigned int) override {}

    private:
        Connection& mConnection;
    };

    // As manager(), but for the thread that the connection waits for.
    zrmirvo::ZRMirvoManager& current();
    // Takes the library's manager for a service that is there and has this version.
    void obtain(const std::string& serviceVersion);

    std::shared_future<void> ready() const;

    LossEvents mEvents;
    // That thread may itself still look for the service when it is handed over.
    mutable android::Mutex mLock;
    std::shared_future<void> mReady GUARDED_BY(mLock);
    std::atomic<bool> mLost = false;
    std::chrono::milliseconds mWait{0};
    zrmirvo::ZRMirvoManager* mManager = nullptr;
    std::map<uint32_t, zrmirvo::ZRMirvo*> mDevices;
};

}  // namespace mirvoctl

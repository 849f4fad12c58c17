#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "mirvoctl/Output.h"

namespace mirvoctl {

// The library's manager and its instances, obtained when they are first needed and, after the
// service was lost, again. One thread at a time. Whatever cannot be had is a Failure.
class Connection {
public:
    Connection() : mEvents(*this) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    zrmirvo::ZRMirvoManager& manager();
    zrmirvo::ZRMirvo& device(uint32_t accessoryId);

    // What the service itself says, asked past the library, which would make an answer up.
    static std::string serviceVersion();

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

    void release();

    LossEvents mEvents;
    std::atomic<bool> mLost = false;
    zrmirvo::ZRMirvoManager* mManager = nullptr;
    std::map<uint32_t, zrmirvo::ZRMirvo*> mDevices;
};

}  // namespace mirvoctl

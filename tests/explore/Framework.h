#pragma once

#include <functional>
#include <vector>

#include "protocol/ServiceFramework.h"

namespace explorer {

// Stands in the place of the service framework. It has no locks of its own, since one thread runs
// at a time, so that every lock that is explored is one of the library's.
class Framework {
public:
    // Clients count from 0 in each run.
    static Framework& self();
    void reset() { *this = Framework(); }

    // Runs during each request with its type code and command, on the requesting thread.
    std::function<void(int32_t type, int32_t command)> onRequest;
    // The accessories that are there.
    std::vector<uint32_t> ids;
    // Whether there is a service to bind to. Clients of one that was lost stay without it.
    bool available = true;
    int requests = 0;

    // On this thread, to the listener of a client. Nothing happens when it has none.
    void attach(size_t client, uint32_t accessoryId);
    void state(size_t client, uint32_t accessoryId, int32_t state);
    void deviceError(size_t client, uint32_t accessoryId, int32_t code);
    void lost(size_t client);

    size_t clients() const { return mListeners.size(); }
    int liveClients = 0;
    // How many services have been lost.
    int losses = 0;

    // For the clients.
    std::vector<android::sp<accessory::ServiceNotifyListener>> mListeners;

private:
    void deliver(size_t client, const android::sp<accessory::ServiceNotify>& notify);
};

}  // namespace explorer

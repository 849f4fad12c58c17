#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "protocol/ServiceContract.h"

namespace accessory {

// The service side of the stand-in framework: owns the listening socket of one service, receives
// requests, answers them and pushes notifications to every client.
//
// Threads: thread-safe. Each connection has a thread of its own, on which a request is received,
// handled and answered, so the handler runs on several threads at once. Notifications leave on a
// thread of the host's; notify() never waits for a client.
//
// Ownership: the host keeps the service description and the handler until it is destroyed.
class __attribute__((visibility("default"))) ServiceHost {
public:
    // Answers one request, on the thread of the connection that it came from. Null sends nothing.
    using Handler = std::function<sp<ServiceReply>(sp<ServiceItem>& item)>;

    struct Options {
        // Where the service's socket is made. Empty: where clients of this process would look.
        std::string directory;
        // The bytes that may wait for one client before its process is cut off.
        size_t queueLimit = 32u << 20;
        // Called when the number of clients that listen for notifications has changed, on a thread
        // of the host's, one call at a time.
        std::function<void(size_t clients)> onClientsChanged;
    };

    ServiceHost(const sp<ServiceInfo>& info, Handler handler);
    ServiceHost(const sp<ServiceInfo>& info, Handler handler, Options options);
    ~ServiceHost();

    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;

    // Takes the service's name and begins to serve. False, with one line in the log, when the
    // directory cannot be used or another process serves the name.
    bool start();

    // Closes the listening socket and every connection, and waits for the handlers that are
    // running. Not to be called from a handler.
    void stop();

    // Serves a socket that was connected elsewhere. Owns `fd`. False, with one line in the log,
    // when the peer belongs to another user.
    bool adopt(int fd);

    // Sends `notify` to every client that listens, in the order of the calls.
    void notify(const sp<ServiceNotify>& notify);

    // The clients that listen for notifications at present.
    size_t clients() const;

private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace accessory

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "protocol/ServiceContract.h"

namespace accessory {

namespace standin {
class Host;
}

// The service side of the stand-in framework: owns the listening socket of one service, receives
// requests, answers them and pushes notifications to its clients.
//
// Threads: thread-safe. Each connection has a thread of its own, on which a request is received,
// handled and answered, so the handler runs on several threads at once. Notifications leave on a
// thread of the host's; notify() never waits for a client.
//
// Ownership: the host keeps the service description and the handler until it is destroyed.
class __attribute__((visibility("default"))) ServiceHost {
public:
    // One request. It exists on its connection's thread while it is being handled.
    struct Request {
        sp<ServiceItem> item;
        pid_t process = 0;        // of the client
        uint32_t connection = 0;  // as in Connection

        // The handler may set these two. When it answers null and `noReply` is set, the client is
        // told at once that there is no reply; otherwise it waits until its time is up.
        bool noReply = false;
        // Called on the same thread when the answer has been sent, or when it is certain that there
        // will be none, also because the client has gone.
        std::function<void()> settled;
    };

    // Answers one request, on the thread of the connection that it came from. Null sends no reply.
    using Handler = std::function<sp<ServiceReply>(Request& request)>;

    struct Options {
        // Where the service's socket is made. Empty: where clients of this process would look.
        std::string directory;
        // The bytes that may wait for one client before its process is cut off.
        size_t queueLimit = 32u << 20;
        // Called when the number of clients that listen for notifications has changed, on a thread
        // of the host's, one call at a time.
        std::function<void(size_t clients)> onClientsChanged;
    };

    // A connection of a client. A process has one for each thread that requests at the same time,
    // and one more for each of its clients that listens.
    struct Connection {
        pid_t process;
        uint32_t number;  // counted from 1 for each host
        bool listens;
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

    // Sends `notify` to every client that listens, in the order of the calls. Answers how many
    // those are.
    size_t notify(const sp<ServiceNotify>& notify);

    // Sends `notify` to the clients of one process only.
    size_t notify(const sp<ServiceNotify>& notify, pid_t process);

    // Waits while the queue of a client is more than half full, so that a burst of notifications
    // does not overflow the queue of a client that reads. Does not wait for a client that has taken
    // nothing for `milliseconds`; false when there is one. Not to be called from a handler, since
    // its client may be the one that is waited for.
    bool waitForRoom(int milliseconds);
    // The same, but gives up, with false, once `over` holds. That is asked many times a second,
    // with a lock held, so it must not wait.
    bool waitForRoom(int milliseconds, const std::function<bool()>& over);

    // Waits until every client has taken what it was sent, at most for so many milliseconds.
    // Answers how many notifications were not taken, each client's counted for itself. What has
    // been taken can be read by its client even when the service has gone.
    size_t waitUntilTaken(int milliseconds);

    // Closes all connections of a process, which is told the reason in its log if one of its
    // clients listens. One line in the log here, too. False when the process has no connection.
    bool disconnect(pid_t process, const std::string& reason);

    std::vector<Connection> connections() const;

    // The clients that listen for notifications at present.
    size_t clients() const;
    // The clients that have begun to listen since this object was made. It has grown before
    // onClientsChanged is called.
    size_t listened() const;

private:
    const std::unique_ptr<standin::Host> mHost;
};

}  // namespace accessory

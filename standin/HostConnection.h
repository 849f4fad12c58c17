#pragma once

#include <sys/types.h>

#include "standin/FrameSocket.h"
#include "standin/ServiceHost.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// The host's side of one connection for requests. A thread of its own serves it; it keeps its
// buffers and contents from one request to the next.
class HostConnection {
public:
    HostConnection(UniqueFd socket, pid_t process, uint32_t number)
        : mSocket(std::move(socket)), mProcess(process), mNumber(number), mFrames(mSocket.get()) {}

    // Why serve() has returned.
    enum class End { kOver, kListens };

    // Answers requests until the connection ends or its client asks to listen on it. `factory` may
    // be null; every request is of an unknown type then.
    End serve(ServiceItemFactory* factory, const ServiceHost::Handler& handler);

    // Calls shutdown(2) with `how`. Any thread may do so.
    void shutDown(int how) const;
    // Hands over the socket after serve() has returned kListens.
    UniqueFd takeSocket() { return std::move(mSocket); }
    bool isTaken() const { return !mSocket; }
    pid_t process() const { return mProcess; }
    uint32_t number() const { return mNumber; }

private:
    bool answer(const Message& message, ServiceItemFactory* factory,
                const ServiceHost::Handler& handler);
    bool sendReply(uint32_t sequence, const sp<ServiceReply>& reply);
    bool sendNoReply(uint32_t sequence);

    UniqueFd mSocket;
    const pid_t mProcess;
    const uint32_t mNumber;
    FrameSocket mFrames;
    sp<SerializationContent> mOut{new WriteContent};
    sp<DeserializationContent> mIn{new ReadContent};
};

}  // namespace accessory::standin

#pragma once

#include "protocol/ServiceFramework.h"
#include "standin/FrameSocket.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// A client's connection for requests. It keeps its buffers and contents, so that a request
// allocates nothing but its messages.
//
// Threads: one thread at a time, the one that has borrowed it from the client.
class RequestConnection {
public:
    explicit RequestConnection(UniqueFd fd) : mFd(std::move(fd)), mSocket(mFd.get()) {}

    // Sends `item` and waits for its reply. Null, with one line in the log, when none came.
    sp<ServiceReply> request(ServiceItem& item, ServiceReplyFactory& factory,
                             const Deadline& deadline);
    // False after a failure, because a reply may then be on its way that nobody expects.
    bool usable() const { return mUsable; }

private:
    sp<ServiceReply> receiveReply(int32_t itemType, ServiceReplyFactory& factory);
    sp<ServiceReply> makeReply(const Message& message, int32_t itemType,
                               ServiceReplyFactory& factory);
    void fail(const char* doing, int32_t itemType, IoStatus status);

    const UniqueFd mFd;
    FrameSocket mSocket;
    uint32_t mSequence = 0;
    bool mUsable = true;
    sp<SerializationContent> mOut{new WriteContent};
    sp<DeserializationContent> mIn{new ReadContent};
};

}  // namespace accessory::standin

#include "standin/HostConnection.h"

#include <sys/socket.h>

#include <cerrno>

#include "standin/Log.h"

namespace accessory::standin {

HostConnection::End HostConnection::serve(ServiceItemFactory* factory,
                                          const ServiceHost::Handler& handler) {
    Message message;
    for (;;) {
        const IoStatus status = mFrames.receive(message);
        if (status == IoStatus::kClosed) return End::kOver;
        if (status == IoStatus::kOk && message.header.kind == FrameKind::kRequest) {
            if (!answer(message, factory, handler)) return End::kOver;
            continue;
        }
        if (status == IoStatus::kOk && message.header.kind == FrameKind::kListen &&
            mFrames.missing() == 0) {
            return End::kListens;
        }
        if (status == IoStatus::kFailed) {
            logError("cannot receive from process %d: %s", mProcess, errorText(errno).c_str());
        } else {
            logError("process %d sends what is no request", mProcess);
        }
        return End::kOver;
    }
}

// False when the connection cannot be used any more.
bool HostConnection::answer(const Message& message, ServiceItemFactory* factory,
                            const ServiceHost::Handler& handler) {
    const FrameHeader& header = message.header;
    ServiceHost::Request request;
    request.item = factory == nullptr ? nullptr : factory->create(header.type);
    if (request.item == nullptr) {
        logError("process %d sends a request of unknown type %d", mProcess, header.type);
        return sendNoReply(header.sequence);
    }
    auto& in = static_cast<ReadContent&>(*mIn);
    in.reset(message.content, message.size, &mFrames);
    request.item->deserialization(mIn);
    // The next receive() reports what is wrong with the rest.
    if (mFrames.finish() != IoStatus::kOk) return true;
    if (in.endedEarly()) {
        logError("process %d sends a request of type %d that ends early", mProcess, header.type);
        return sendNoReply(header.sequence);
    }
    request.process = mProcess;
    request.connection = mNumber;
    const sp<ServiceReply> reply = handler(request);
    const bool usable = reply != nullptr  ? sendReply(header.sequence, reply)
                        : request.noReply ? sendNoReply(header.sequence)
                                          : true;
    if (request.settled) request.settled();
    return usable;
}

bool HostConnection::sendReply(uint32_t sequence, const sp<ServiceReply>& reply) {
    auto& out = static_cast<WriteContent&>(*mOut);
    out.clear();
    reply->serialization(mOut);
    if (out.tooLong()) {
        logError("reply %d is longer than %zu bytes and was not sent", reply->type(), kMaxContent);
        return sendNoReply(sequence);
    }
    FrameHeader header;
    header.kind = FrameKind::kReply;
    header.type = reply->type();
    header.sequence = sequence;
    // A failure needs no line: a client that has given up meanwhile has said so in its own log.
    return mFrames.send(header, out) == IoStatus::kOk;
}

bool HostConnection::sendNoReply(uint32_t sequence) {
    FrameHeader header;
    header.kind = FrameKind::kNoReply;
    header.sequence = sequence;
    return mFrames.send(header) == IoStatus::kOk;
}

void HostConnection::shutDown(int how) const {
    shutdown(mSocket.get(), how);
}

}  // namespace accessory::standin

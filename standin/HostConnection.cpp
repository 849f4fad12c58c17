#include <sys/socket.h>

#include <cerrno>

#include "standin/HostImpl.h"
#include "standin/Log.h"

// What the thread of one connection does.

namespace accessory {

using android::AutoMutex;
using namespace standin;

void ServiceHost::Impl::serve(Connection& connection) {
    Message message;
    for (;;) {
        const IoStatus status = connection.frames.receive(message);
        if (status == IoStatus::kClosed) return;
        if (status == IoStatus::kOk && message.header.kind == FrameKind::kRequest) {
            if (!answer(connection, message)) return;
            continue;
        }
        if (status == IoStatus::kOk && message.header.kind == FrameKind::kListen &&
            connection.frames.missing() == 0) {
            // Whoever ends connections finds this one either here or with the sender.
            AutoMutex lock(mMutex);
            mSender.add(std::move(connection.fd), connection.pid);
            return;
        }
        if (status == IoStatus::kFailed) {
            logError("cannot receive from process %d: %s", connection.pid,
                     errorText(errno).c_str());
        } else {
            logError("process %d sends what is no request", connection.pid);
        }
        return;
    }
}

// False when the connection is of no use any more.
bool ServiceHost::Impl::answer(Connection& connection, const Message& message) {
    const FrameHeader& header = message.header;
    sp<ServiceItem> item = mItemFactory == nullptr ? nullptr : mItemFactory->create(header.type);
    if (item == nullptr) {
        logError("process %d sends a request of unknown type %d", connection.pid, header.type);
        return sendNone(connection, header.sequence);
    }
    static_cast<ReadContent&>(*connection.in)
        .reset(message.content, message.size, &connection.frames);
    item->deserialization(connection.in);
    // What is wrong with the rest, the next receive() tells.
    if (connection.frames.finish() != IoStatus::kOk) return true;
    const sp<ServiceReply> reply = mHandler(item);
    return reply == nullptr || sendReply(connection, header.sequence, reply);
}

bool ServiceHost::Impl::sendReply(Connection& connection, uint32_t sequence,
                                  const sp<ServiceReply>& reply) {
    auto& out = static_cast<WriteContent&>(*connection.out);
    out.clear();
    reply->serialization(connection.out);
    if (out.tooLong()) {
        logError("reply %d is longer than %zu bytes and was not sent", reply->type(), kMaxContent);
        return sendNone(connection, sequence);
    }
    FrameHeader header;
    header.kind = FrameKind::kReply;
    header.type = reply->type();
    header.sequence = sequence;
    // A client that has given up meanwhile has said so in its own log.
    return connection.frames.send(header, out) == IoStatus::kOk;
}

bool ServiceHost::Impl::sendNone(Connection& connection, uint32_t sequence) {
    FrameHeader header;
    header.kind = FrameKind::kNoReply;
    header.sequence = sequence;
    return connection.frames.send(header) == IoStatus::kOk;
}

}  // namespace accessory

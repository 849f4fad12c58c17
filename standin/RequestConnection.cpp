#include "standin/RequestConnection.h"

#include <cerrno>

#include "standin/Log.h"

namespace accessory::standin {

namespace {

const char* textOf(IoStatus status) {
    switch (status) {
        case IoStatus::kClosed:
            return "the service has closed the connection";
        case IoStatus::kTimeout:
            return "the time is up";
        case IoStatus::kMalformed:
            return "what came is no reply";
        default:
            return "the socket failed";
    }
}

}  // namespace

sp<ServiceReply> RequestConnection::request(ServiceItem& item, ServiceReplyFactory& factory,
                                            const Deadline& deadline) {
    auto& out = static_cast<WriteContent&>(*mOut);
    out.clear();
    item.serialization(mOut);
    const int32_t type = item.type();
    if (out.tooLong()) {
        logError("request %d is longer than %zu bytes and was not sent", type, kMaxContent);
        return nullptr;
    }
    FrameHeader header;
    header.kind = FrameKind::kRequest;
    header.type = type;
    header.sequence = ++mSequence;
    mSocket.begin(deadline);
    const IoStatus status = mSocket.send(header, out);
    if (status != IoStatus::kOk) {
        fail("send", type, status);
        return nullptr;
    }
    return receiveReply(type, factory);
}

sp<ServiceReply> RequestConnection::receiveReply(int32_t itemType, ServiceReplyFactory& factory) {
    Message message;
    for (;;) {
        IoStatus status = mSocket.receive(message);
        if (status == IoStatus::kOk) {
            const FrameHeader& header = message.header;
            const bool reply = header.kind == FrameKind::kReply;
            if (reply || header.kind == FrameKind::kNoReply) {
                if (header.sequence == mSequence) break;
                // Ignore replies to earlier requests and keep waiting for ours.
                if (static_cast<int32_t>(mSequence - header.sequence) > 0) continue;
            }
            status = IoStatus::kMalformed;
        }
        fail("get a reply to", itemType, status);
        return nullptr;
    }
    if (message.header.kind == FrameKind::kReply) return makeReply(message, itemType, factory);
    logError("the service has no reply to request %d", itemType);
    return nullptr;
}

sp<ServiceReply> RequestConnection::makeReply(const Message& message, int32_t itemType,
                                              ServiceReplyFactory& factory) {
    sp<ServiceReply> reply = factory.create(message.header.type);
    if (reply == nullptr) {
        logError("a reply of unknown type %d is dropped", message.header.type);
        return nullptr;
    }
    static_cast<ReadContent&>(*mIn).reset(message.content, message.size, &mSocket);
    reply->deserialization(mIn);
    const IoStatus status = mSocket.finish();
    if (status != IoStatus::kOk) {
        fail("get a reply to", itemType, status);
        return nullptr;
    }
    if (!static_cast<ReadContent&>(*mIn).endedEarly()) return reply;
    logError("the reply to request %d ends early and is dropped", itemType);
    return nullptr;
}

void RequestConnection::fail(const char* doing, int32_t itemType, IoStatus status) {
    const std::string detail = status == IoStatus::kFailed ? ": " + errorText(errno) : "";
    logError("cannot %s request %d: %s%s", doing, itemType, textOf(status), detail.c_str());
    mUsable = false;
}

}  // namespace accessory::standin

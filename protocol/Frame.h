#pragma once

#include <cstddef>
#include <cstdint>

// A message with what travels beside it, as the stand-in carries it and as recordings keep it.
// docs/wire.md describes it for its readers.

namespace accessory {

constexpr uint16_t kWireVersion = 1;

enum class FrameKind : uint16_t {
    kRequest = 1,    // client to service: an item
    kReply = 2,      // service to client: the answer to the request of the same sequence number
    kNoReply = 3,    // service to client: there will be none
    kListen = 4,     // client to service: this connection is to carry notifications
    kListening = 5,  // service to client: from here on it does
    kNotify = 6,     // service to client: a notification
};

struct FrameHeader {
    uint16_t version = kWireVersion;
    FrameKind kind = FrameKind::kRequest;
    int32_t type = 0;       // the message's type code, 0 where there is no message
    uint32_t sequence = 0;  // of the request; 0 on a connection for notifications
    uint32_t length = 0;    // of the whole content
    uint32_t offset = 0;    // of this frame's part of it
};
static_assert(sizeof(FrameHeader) == 20, "the header is laid out without padding");

// The longest content of a message.
constexpr size_t kMaxContent = 16u << 20;

}  // namespace accessory

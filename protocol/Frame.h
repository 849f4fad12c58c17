#pragma once

#include <algorithm>
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
    kCutOff = 7,     // service to client: the last frame that this process gets, and why

    // Only in recordings: what is no message between client and service.
    kBegin = 100,            // a recording, or the next file of one, begins
    kBound = 101,            // a binding was made
    kNotBound = 102,         // there was no service to bind to
    kUnbound = 103,          // the last reference to a binding went
    kListenerSet = 104,      // a binding got a listener
    kListenerRemoved = 105,  // and lost it
    kStatus = 106,           // a notification of the framework's own; its status is the content
    kEnded = 107,            // the listener has returned from a notification
    kGap = 108,              // records are missing here; their number is the content
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
constexpr size_t kHeaderSize = sizeof(FrameHeader);
// The most that the kernel keeps in single pages behind a small linear head. Anything longer asks
// it for memory in one piece, which it may not have.
constexpr size_t kMaxDatagram = 80u << 10;
// Every frame of a message carries this much of its content, only the last one less. That is what
// makes the length of a frame follow from its header.
constexpr size_t kMaxPart = kMaxDatagram - kHeaderSize;

inline size_t partLength(const FrameHeader& header) {
    return std::min<size_t>(header.length - header.offset, kMaxPart);
}

}  // namespace accessory

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// The wire form: messages as frames in datagrams. docs/wire.md describes it for its readers; a
// change here is a change there and, once it has been delivered, of kWireVersion.

namespace accessory::standin {

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

constexpr size_t kHeaderSize = sizeof(FrameHeader);
constexpr size_t kMaxContent = 16u << 20;
// The most that the kernel keeps in single pages behind a small linear head. Anything longer asks
// it for memory in one piece, which it may not have.
constexpr size_t kMaxDatagram = 80u << 10;
// Every frame of a message carries this much of its content, only the last one less. That is what
// makes the length of a frame follow from its header.
constexpr size_t kMaxPart = kMaxDatagram - kHeaderSize;

inline size_t partLength(const FrameHeader& header) {
    return std::min<size_t>(header.length - header.offset, kMaxPart);
}

// Reads the frame that begins at `data`. False when the bytes are no frame. Datagrams may hold more
// than one, so there may be bytes left behind it.
inline bool readHeader(const uint8_t* data, size_t size, FrameHeader& header) {
    if (size < kHeaderSize) return false;
    std::memcpy(&header, data, kHeaderSize);
    if (header.version != kWireVersion) return false;
    if (header.kind < FrameKind::kRequest || header.kind > FrameKind::kNotify) return false;
    if (header.length > kMaxContent || header.offset % kMaxPart != 0) return false;
    if (header.offset >= header.length && header.offset != 0) return false;
    return partLength(header) <= size - kHeaderSize;
}

// Puts a message together whose content came in several frames. The parts come in order, and those
// of one message are not mixed with others'.
class Assembly {
public:
    // Takes the header of the next frame. Null when it does not continue what there is; else where
    // its part belongs.
    uint8_t* place(const FrameHeader& header) {
        if (header.offset == 0 && mReceived == 0) {
            mHeader = header;
            if (mContent.size() < header.length) mContent.resize(header.length);
        } else {
            mHeader.offset = mReceived;
            if (std::memcmp(&header, &mHeader, kHeaderSize) != 0) return nullptr;
        }
        mReceived = header.offset + static_cast<uint32_t>(partLength(header));
        return mContent.data() + header.offset;
    }

    size_t missing() const { return mHeader.length - mReceived; }
    bool empty() const { return mReceived == 0; }
    // The content of a complete message; it stays until the next one begins.
    const uint8_t* take() {
        mReceived = 0;
        return mContent.data();
    }

private:
    FrameHeader mHeader;
    uint32_t mReceived = 0;
    std::vector<uint8_t> mContent;
};

}  // namespace accessory::standin

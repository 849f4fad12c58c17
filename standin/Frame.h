#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "protocol/Frame.h"

// Frames in datagrams. docs/wire.md describes them for its readers; a change here is a change there
// and, once it has been delivered, of kWireVersion.

namespace accessory::standin {

// Reads the frame that begins at `data`. False when the bytes are no frame. Datagrams may hold more
// than one, so there may be bytes left behind it.
inline bool readHeader(const uint8_t* data, size_t size, FrameHeader& header) {
    if (size < kHeaderSize) return false;
    std::memcpy(&header, data, kHeaderSize);
    if (header.version != kWireVersion) return false;
    if (header.kind < FrameKind::kRequest || header.kind > FrameKind::kCutOff) return false;
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

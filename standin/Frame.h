#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "protocol/Frame.h"

// Frames in datagrams. docs/wire.md describes them for its readers; a change here is a change there
// and, once it has been delivered, of kWireVersion.

namespace accessory::standin {

// Reads the header of the frame that begins at `data`. False when the bytes are no frame. A
// datagram may hold several frames, so bytes behind the frame are no fault.
inline bool readHeader(const uint8_t* data, size_t size, FrameHeader& header) {
    if (size < kHeaderSize) return false;
    std::memcpy(&header, data, kHeaderSize);
    if (header.version != kWireVersion) return false;
    if (header.kind < FrameKind::kRequest || header.kind > FrameKind::kCutOff) return false;
    if (header.length > kMaxContent || header.offset % kMaxPart != 0) return false;
    if (header.offset >= header.length && header.offset != 0) return false;
    return partLength(header) <= size - kHeaderSize;
}

}  // namespace accessory::standin

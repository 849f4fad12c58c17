#pragma once

#include <cstring>
#include <new>
#include <vector>

#include "standin/Frame.h"
#include "standin/Log.h"

namespace accessory::standin {

// Puts together a message whose content comes in several frames. Its frames come in order, and no
// frame of another message comes between them.
class Assembly {
public:
    // Takes the header of the next frame and returns the place for its part of the content. Null
    // when the frame does not continue the message, or when there is no memory for the message.
    uint8_t* place(const FrameHeader& header) {
        if (header.offset == 0 && mReceived == 0) {
            mHeader = header;
            if (!makeRoom(header.length)) return nullptr;
        } else {
            mHeader.offset = mReceived;
            if (std::memcmp(&header, &mHeader, kHeaderSize) != 0) return nullptr;
        }
        mReceived = header.offset + static_cast<uint32_t>(partLength(header));
        return mContent.data() + header.offset;
    }

    size_t missing() const { return mHeader.length - mReceived; }
    bool empty() const { return mReceived == 0; }
    // The content of a complete message, valid until the next message begins.
    const uint8_t* take() {
        mReceived = 0;
        return mContent.data();
    }

private:
    // The other side says how much, so a failure ends the connection and not the program.
    bool makeRoom(size_t size) {
        if (mContent.size() >= size) return true;
        try {
            mContent.resize(size);
        } catch (const std::bad_alloc&) {
            logError("there is no memory for a message of %zu bytes", size);
            return false;
        }
        return true;
    }

    FrameHeader mHeader;
    uint32_t mReceived = 0;
    std::vector<uint8_t> mContent;
};

}  // namespace accessory::standin

#pragma once

#include <cstddef>
#include <cstdint>

namespace accessory::standin {

// The parts of a content behind the first one, which are received while it is being read: a long
// block goes from the socket to its place at once.
class ContentRest {
public:
    // All bytes that are still to come, and those that come next.
    virtual size_t missing() const = 0;
    virtual size_t nextPart() const = 0;
    // False when the part cannot be had; there are none after it then.
    virtual bool receivePart(uint8_t* dest) = 0;
    // As receivePart(), but finds a place for the part. Null when it cannot be had.
    virtual const uint8_t* bufferPart() = 0;

protected:
    ~ContentRest() = default;
};

}  // namespace accessory::standin

#pragma once

#include <cstddef>
#include <cstdint>

namespace accessory::standin {

// The parts of a content behind the first one. They are received while the content is being read,
// so that a long block goes directly from the socket to its place.
class ContentRest {
public:
    // The bytes of all parts that were not received yet, and those of the next part.
    virtual size_t missing() const = 0;
    virtual size_t nextPart() const = 0;
    // False when the part cannot be received. No part follows it then.
    virtual bool receivePart(uint8_t* dest) = 0;
    // As receivePart(), but into a buffer of its own, which it returns. Null on failure.
    virtual const uint8_t* bufferPart() = 0;

protected:
    ~ContentRest() = default;
};

}  // namespace accessory::standin

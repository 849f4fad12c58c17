#pragma once

#include <cstddef>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "standin/ContentRest.h"

namespace accessory::standin {

// The content of a message that was received. The bytes belong to somebody else. A value that is
// longer than what is left lies past the end, and so does everything behind it.
class ReadContent final : public DeserializationContent {
public:
    int32_t readBuffer(void* dest, int64_t length) override;
    int32_t readInt32() override;
    int64_t readInt64() override;
    int32_t reserved1() override;
    int32_t reserved2() override;
    const char* readCString() override;

    // Reads these bytes from now on, and then those of `rest`, which may be null. Both have to stay
    // until the last read.
    void reset(const uint8_t* data, size_t size, ContentRest* rest = nullptr) {
        mNext = data;
        mEnd = data + size;
        mRest = rest;
        mEndedEarly = false;
    }
    // Whether an integer or a block was read past the end, so that the sender announced more than
    // it sent. A missing text does not count, because its reader sees a null pointer.
    bool endedEarly() const { return mEndedEarly; }

private:
    bool take(void* dest, size_t length);
    bool takeAcross(uint8_t* dest, size_t length);
    const char* textAcross();
    bool bufferNext();
    bool end();
    size_t left() const { return static_cast<size_t>(mEnd - mNext); }

    const uint8_t* mNext = nullptr;
    const uint8_t* mEnd = nullptr;
    ContentRest* mRest = nullptr;
    bool mEndedEarly = false;
    std::vector<char> mText;  // a text that came in several parts
};

}  // namespace accessory::standin

#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "recording/Record.h"

namespace recorder {

// Replaces in messages the values that must not be recorded: numbers and bytes become 0, characters
// become '*'. Sizes stay. One thread at a time.
class Redaction {
public:
    // `leftOut` by recording::LeftOut.
    explicit Redaction(uint16_t leftOut) : mLeftOut(leftOut) {}

    // Never changes the bytes of the content: the record then refers to a copy of them, which stays
    // until the next call.
    void apply(recording::Record& record);

private:
    bool isInput(const recording::Record& record);

    const uint16_t mLeftOut;
    std::vector<uint8_t> mCopy;
    // The sequences of requests under way whose replies will hold cooked input.
    std::set<uint32_t> mCooking;
};

}  // namespace recorder

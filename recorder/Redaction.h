#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "recording/Record.h"

namespace recorder {

// Replaces in messages what a recording is to be without: numbers and bytes by 0, characters by
// '*'. Sizes stay. One thread at a time.
class Redaction {
public:
    // `leftOut` by recording::LeftOut.
    explicit Redaction(uint16_t leftOut) : mLeftOut(leftOut) {}

    // Afterwards the content may be a copy, which stays until the next call.
    void apply(recording::Record& record);

private:
    bool isInput(const recording::Record& record);

    const uint16_t mLeftOut;
    std::vector<uint8_t> mCopy;
    // The requests under way whose replies hold cooked input.
    std::set<uint32_t> mCooking;
};

}  // namespace recorder

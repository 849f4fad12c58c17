#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// Takes the bytes of one input from its front. Past the end everything is 0 or empty.
class Input {
public:
    Input(const uint8_t* data, size_t size) : mNext(data), mEnd(data + size) {}

    bool empty() const { return mNext == mEnd; }

    template <typename Number>
    Number number() {
        Number value = 0;
        const size_t length = std::min(sizeof(value), left());
        if (length > 0) std::memcpy(&value, mNext, length);
        mNext += length;
        return value;
    }

    // A block, which follows its length of two bytes.
    std::vector<uint8_t> block() {
        const size_t announced = number<uint16_t>();
        const size_t length = std::min(announced, left());
        std::vector<uint8_t> bytes(mNext, mNext + length);
        mNext += length;
        return bytes;
    }

    std::vector<uint8_t> rest() { return {mNext, mEnd}; }

private:
    size_t left() const { return static_cast<size_t>(mEnd - mNext); }

    const uint8_t* mNext;
    const uint8_t* const mEnd;
};

// Each fuzzer defines this: what it does with one input.
void fuzz(Input& input);

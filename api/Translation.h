#pragma once

#include <cstddef>
#include <cstdint>

#include "accessory/MVTouchEvent.h"

namespace zrmirvo {

// From the application's numbering, which is Android's, to the service's.
struct Translation {
    uint32_t from;
    uint32_t to;
};

template <size_t Size>
constexpr uint32_t translate(const Translation (&table)[Size], uint32_t value, uint32_t otherwise) {
    for (const Translation& row : table) {
        if (row.from == value) return row.to;
    }
    return otherwise;
}

// KeyEvent key codes.
constexpr Translation kKeyCodes[] = {
    {4, 4},    // back
    {24, 5},   // volume up
    {25, 6},   // volume down
    {26, 1},   // power
    {82, 2},   // menu
    {85, 14},  // media play/pause
    {86, 13},  // media stop
    {87, 11},  // media next
    {88, 12},  // media previous
    {89, 10},  // media rewind
    {90, 9},   // media fast forward
    {126, 7},  // media play
    {127, 8},  // media pause
};
constexpr uint32_t kOtherKey = 3;

// MotionEvent actions.
constexpr Translation kTouchActions[] = {
    {0, MVTouchEvent::kDown},
    {5, MVTouchEvent::kDown},  // another pointer
    {2, MVTouchEvent::kMove},
};
constexpr uint32_t kOtherAction = MVTouchEvent::kUp;

constexpr uint32_t translateKeyCode(uint32_t keyCode) {
    return translate(kKeyCodes, keyCode, kOtherKey);
}

constexpr int32_t translateAction(int32_t action) {
    return static_cast<int32_t>(
        translate(kTouchActions, static_cast<uint32_t>(action), kOtherAction));
}

}  // namespace zrmirvo

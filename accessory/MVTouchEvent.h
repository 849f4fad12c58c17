#pragma once

#include <cstdint>

#include "accessory/MVEvent.h"

// A touch with `count` pointers, which three parallel arrays describe. It belongs to the caller,
// who makes it, passes its address to an operation and destroys it afterwards. The operation copies
// what it sends. One thread at a time. A touch event is never copied, since a copy would share the
// arrays.
class __attribute__((visibility("default"))) MVTouchEvent : public MVEvent {
public:
    // The actions of the service's numbering.
    enum Action : int32_t { kDown = 1, kUp = 2, kMove = 3 };

    // Copies `count` values of each array, which are not null unless `count` is 0. All other values
    // reach the service unchanged.
    //
    // Throws std::bad_array_new_length when `count` is negative and std::bad_alloc when there is no
    // memory; nothing else in this library throws.
    MVTouchEvent(unsigned long long time, int count, int action, int extra,
                 const unsigned int* array1, const unsigned int* array2,
                 const unsigned int* array3);
    ~MVTouchEvent() override;

    MVTouchEvent(const MVTouchEvent&) = delete;
    MVTouchEvent& operator=(const MVTouchEvent&) = delete;

    int32_t getEventType() override;

    // Whoever changes these keeps `count` values in each array. An operation refuses an event with
    // a negative count, or with a count above 0 and an array that is null.
    uint64_t time;
    int32_t count;
    int32_t action;
    int32_t extra;
    uint32_t* array1;
    uint32_t* array2;
    uint32_t* array3;
};

#pragma once

#include <cstdint>

// An input event. One thread at a time.
class MVEvent {
public:
    virtual ~MVEvent() = default;
    virtual int32_t getEventType() = 0;
};

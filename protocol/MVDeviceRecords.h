#pragma once

#include <cstddef>
#include <cstdint>

// Two records that the service sends as the bytes of a notification. They are memory images in the
// native byte order: sizes and places are the wire contract. A receiver gets a copy that is gone
// when its operation returns, on the thread that delivers the notification.

// A device request.
struct MVDeviceRequest {
    enum Type : int32_t { kNumbers = 0, kBytes = 1 };
    static constexpr int32_t kMaxData = 36;

    int32_t type;
    __extension__ union {
        // With type kNumbers.
        __extension__ struct {
            int32_t param1;
            int32_t param2;
        };
        // With type kBytes: `dataLength` bytes, at most 36.
        uint8_t data[kMaxData];
    };
    int32_t dataLength;
};

static_assert(sizeof(MVDeviceRequest) == 44);
static_assert(offsetof(MVDeviceRequest, type) == 0);
static_assert(offsetof(MVDeviceRequest, param1) == 4);
static_assert(offsetof(MVDeviceRequest, param2) == 8);
static_assert(offsetof(MVDeviceRequest, data) == 4);
static_assert(offsetof(MVDeviceRequest, dataLength) == 40);

// A device response. The fields after the type hold something with type kTimeDate only.
struct MVDeviceResponse {
    enum Type : int32_t { kPlain = 0, kTimeDate = 1 };

    int32_t type;
    int32_t date1;
    int32_t date2;
    int32_t date3;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t fraction;
    int32_t week;
    int32_t dayOfWeek;
};

static_assert(sizeof(MVDeviceResponse) == 40);
static_assert(offsetof(MVDeviceResponse, type) == 0);
static_assert(offsetof(MVDeviceResponse, date1) == 4);
static_assert(offsetof(MVDeviceResponse, date2) == 8);
static_assert(offsetof(MVDeviceResponse, date3) == 12);
static_assert(offsetof(MVDeviceResponse, hour) == 16);
static_assert(offsetof(MVDeviceResponse, minute) == 20);
static_assert(offsetof(MVDeviceResponse, second) == 24);
static_assert(offsetof(MVDeviceResponse, fraction) == 28);
static_assert(offsetof(MVDeviceResponse, week) == 32);
static_assert(offsetof(MVDeviceResponse, dayOfWeek) == 36);

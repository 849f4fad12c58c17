#pragma once

#include <cstdint>

// The codes that the library and the service share, by the number that travels.

namespace accessory {

// The command of a service-wide request.
enum ManagerCommand : int32_t {
    MV_COMMAND_STARTUP = 1,
    MV_COMMAND_SHUTDOWN = 2,
    MV_COMMAND_DISCONNECT = 3,
    MV_COMMAND_SET_CONFIG_FILE = 4,
    MV_COMMAND_SET_BLUETOOTH_CONFIG = 5,
    MV_COMMAND_GET_MIRVO = 6,
    MV_COMMAND_GET_IDS = 7,
    MV_COMMAND_GET_HID_DESCRIPTOR = 8,
    MV_COMMAND_CONNECT = 9,
};

// The command of a request to one accessory. Each request class numbers its own.
enum AccessoryCommand : int32_t {
    MV_COMMON_SET_NOTIFIER = 1,
    MV_COMMON_SEND_KEY_EVENT = 2,
    MV_COMMON_SEND_CALIBRATE_EVENT = 3,
    MV_COMMON_SEND_VIDEO_FOCUS = 4,
    MV_COMMON_COOK_KEY_EVENT = 5,
    MV_COMMON_COOK_CALIBRATE_EVENT = 6,
    MV_COMMON_SEND_ON_READY_FOR_PAIRING = 7,
    MV_COMMON_SEND_FORCE_LANDSCAPE = 8,
    MV_COMMON_SEND_TIME_DATE_INQUIRY = 9,

    MV_RAW_DATA_SET_FEATURE = 1,

    MV_TOUCH_SEND = 1,
    MV_TOUCH_COOK = 2,

    MV_DISPLAY_CONFIGURATION = 0,
};

// What a notification about the service as a whole tells.
enum ManagerEvent : int32_t {
    MV_ATTACHED = 1,
    MV_DETACHED = 2,
};

// What a common notification about one accessory tells.
enum AccessoryEvent : int32_t {
    MV_CONTROL_UNAVAILABLE = 0,
    MV_RUNNING_STATE_CHANGE = 1,
    MV_SCREEN_ORIENTATION_CHANGE = 2,
    MV_ERROR_EVENT = 3,
};

// What the bytes of a raw-data notification about one accessory are.
enum AccessoryRawEvent : int32_t {
    MV_DEVICE_REQUEST = 1,
    MV_DEVICE_RESPONSE = 2,
    MV_HID_REPORT_DESCRIPTOR = 3,
    MV_HID_EVENT = 4,
};

// The code of an error event.
enum ErrorCode : int32_t {
    MV_ERROR_CODE_TRANSPORT_FATAL = -2,
    MV_ERROR_CODE_PING_FAIL = -3,
    MV_ERROR_CODE_PROTOCOL_CONNECT_FAIL = -5,
    MV_ERROR_CODE_VIDEO_PLAYER_ALLOC_FAIL = -6,
};

// What the manager's notifier is told when the service is lost.
constexpr int kServiceLostError = 1;

}  // namespace accessory

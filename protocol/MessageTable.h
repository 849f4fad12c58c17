#pragma once

#include <cstdint>

#include "protocol/Frame.h"
#include "protocol/MVCodes.h"
#include "protocol/MVServiceMessages.h"

// What the messages hold and which operations use them, as data for those who have to name what
// they see: tools and readers of recordings. docs/wire.md has the same for people.

namespace accessory {

enum class FieldKind : uint8_t {
    kNone,  // behind the last field
    kInt32,
    kUInt32,
    kInt64,
    kUInt64,
    kText,
    kFlag,        // 0 is false
    kNotifyFlag,  // only 1 is true
    kBytes,       // a size and as many bytes
    kIds,         // a count and as many ids
    kTouch,       // count, action, extra and, `count` times, one value each of three arrays
};

struct Field {
    const char* name = nullptr;
    FieldKind kind = FieldKind::kNone;
};

struct MessageLayout {
    const char* name;
    int32_t type;
    Field fields[8];
};

inline constexpr MessageLayout kItemLayouts[] = {
    {"MVSItemManagerVersion", MVServiceItem::MANAGER_VERSION, {{"version", FieldKind::kText}}},
    {"MVSItemManagerCommon",
     MVServiceItem::MANAGER_COMMON,
     {{"command", FieldKind::kInt32},
      {"intValue", FieldKind::kInt32},
      {"longValue", FieldKind::kInt64},
      {"stringValue", FieldKind::kText},
      {"boolValue", FieldKind::kFlag}}},
    {"MVSItemAccessoryCommon",
     MVServiceItem::ACCESSORY_COMMON,
     {{"accessoryId", FieldKind::kUInt32},
      {"command", FieldKind::kInt32},
      {"intValue", FieldKind::kInt32},
      {"longValue", FieldKind::kInt64},
      {"stringValue", FieldKind::kText},
      {"boolValue", FieldKind::kFlag}}},
    {"MVSItemAccessoryTouchEvent",
     MVServiceItem::ACCESSORY_TOUCH_EVENT,
     {{"accessoryId", FieldKind::kUInt32},
      {"command", FieldKind::kInt32},
      {"time", FieldKind::kUInt64},
      {"touch", FieldKind::kTouch}}},
    {"MVSItemAccessoryRawData",
     MVServiceItem::ACCESSORY_RAW_DATA,
     {{"accessoryId", FieldKind::kUInt32},
      {"command", FieldKind::kInt32},
      {"intValue", FieldKind::kInt32},
      {"data", FieldKind::kBytes}}},
    {"MVSItemAccessoryDisplayConfiguration",
     MVServiceItem::ACCESSORY_DISPLAY_CONFIGURATION,
     {{"accessoryId", FieldKind::kUInt32},
      {"command", FieldKind::kInt32},
      {"value1", FieldKind::kInt32},
      {"value2", FieldKind::kInt32},
      {"value3", FieldKind::kInt32},
      {"value4", FieldKind::kInt32},
      {"value5", FieldKind::kInt32}}},
};

inline constexpr MessageLayout kReplyLayouts[] = {
    {"MVSReplyCommon",
     MVServiceReply::COMMON,
     {{"result", FieldKind::kInt32},
      {"intValue", FieldKind::kInt32},
      {"longValue", FieldKind::kInt64},
      {"stringValue", FieldKind::kText}}},
    {"MVSReplyAccessoryIds", MVServiceReply::ACCESSORY_IDS, {{"ids", FieldKind::kIds}}},
    {"MVSReplyRawData",
     MVServiceReply::RAW_DATA,
     {{"result", FieldKind::kInt32}, {"data", FieldKind::kBytes}}},
    {"MVSReplyVersion", MVServiceReply::VERSION, {{"version", FieldKind::kText}}},
};

inline constexpr MessageLayout kNotifyLayouts[] = {
    {"MVSNotifyManagerCommon",
     MVServiceNotify::MANAGER_COMMON,
     {{"notifyType", FieldKind::kInt32}, {"accessoryId", FieldKind::kUInt32}}},
    {"MVSNotifyAccessoryCommon",
     MVServiceNotify::ACCESSORY_COMMON,
     {{"accessoryId", FieldKind::kUInt32},
      {"notifyType", FieldKind::kInt32},
      {"intValue", FieldKind::kInt32},
      {"intValue2", FieldKind::kInt32},
      {"longValue", FieldKind::kInt64},
      {"stringValue", FieldKind::kText},
      {"boolValue", FieldKind::kNotifyFlag}}},
    {"MVSNotifyAccessoryRawData",
     MVServiceNotify::ACCESSORY_RAW_DATA,
     {{"accessoryId", FieldKind::kUInt32},
      {"notifyType", FieldKind::kInt32},
      {"data", FieldKind::kBytes}}},
};

// Null when there is no class of that code. `Layouts` is one of the tables above.
template <typename Layouts>
const MessageLayout* findLayout(const Layouts& layouts, int32_t type) {
    for (const MessageLayout& layout : layouts) {
        if (layout.type == type) return &layout;
    }
    return nullptr;
}

inline const MessageLayout* findLayout(FrameKind kind, int32_t type) {
    switch (kind) {
        case FrameKind::kRequest:
            return findLayout(kItemLayouts, type);
        case FrameKind::kReply:
            return findLayout(kReplyLayouts, type);
        case FrameKind::kNotify:
            return findLayout(kNotifyLayouts, type);
        default:
            return nullptr;
    }
}

// An argument of an operation or event: a field of its message under a name of its own.
struct Argument {
    const char* name = nullptr;
    const char* field = nullptr;
    // The field is signed, the argument is not.
    bool isUnsigned = false;
};

// One thing that a message is used for: an operation or an event.
struct Usage {
    const char* name = nullptr;
    int32_t type = 0;
    // The command of a request, the notifyType of a notification.
    int32_t code = 0;
    // Up to one without a name.
    const Argument* arguments = nullptr;
    // The class of the answer to a request.
    int32_t reply = 0;
};

// The code of an event that takes any.
inline constexpr int32_t kAnyCode = -1;

namespace usage {

inline constexpr Argument kNone[] = {{}};
inline constexpr Argument kVersion[] = {{"version", "version"}, {}};
inline constexpr Argument kText[] = {{"arg", "stringValue"}, {}};
inline constexpr Argument kPath[] = {{"path", "stringValue"}, {}};
inline constexpr Argument kBluetooth[] = {{"text", "stringValue"}, {"value", "intValue"}, {}};
inline constexpr Argument kFlag[] = {{"flag", "boolValue"}, {}};
inline constexpr Argument kKey[] = {{"keyCode", "intValue", true}, {"flag", "boolValue"}, {}};
inline constexpr Argument kFocus[] = {{"focus", "intValue"}, {"flag", "boolValue"}, {}};
inline constexpr Argument kTouch[] = {
    {"time", "time"},     {"count", "count"},   {"array1", "array1"}, {"array2", "array2"},
    {"array3", "array3"}, {"action", "action"}, {"extra", "extra"},   {}};
inline constexpr Argument kFeature[] = {{"feature", "intValue", true}, {"data", "data"}, {}};
inline constexpr Argument kDisplay[] = {{"value1", "value1"}, {"value2", "value2"},
                                        {"value3", "value3"}, {"value4", "value4"},
                                        {"value5", "value5"}, {}};
inline constexpr Argument kState[] = {{"state", "intValue"}, {}};
inline constexpr Argument kOrientation[] = {{"orientation", "intValue"}, {}};
inline constexpr Argument kError[] = {{"code", "intValue"}, {}};
inline constexpr Argument kBytes[] = {{"data", "data"}, {}};
inline constexpr Argument kAnyValue[] = {{"subCode", "notifyType"}, {"value", "intValue"}, {}};
inline constexpr Argument kAnyBytes[] = {{"subCode", "notifyType"}, {"data", "data"}, {}};

using I = MVServiceItem;
using N = MVServiceNotify;
using R = MVServiceReply;
inline constexpr Usage kOperations[] = {
    {"getVersion", I::MANAGER_VERSION, 0, kVersion, R::VERSION},
    {"startup", I::MANAGER_COMMON, MV_COMMAND_STARTUP, kNone, R::COMMON},
    {"shutdown", I::MANAGER_COMMON, MV_COMMAND_SHUTDOWN, kNone, R::COMMON},
    {"disconnect", I::MANAGER_COMMON, MV_COMMAND_DISCONNECT, kText, R::COMMON},
    {"setConfigFile", I::MANAGER_COMMON, MV_COMMAND_SET_CONFIG_FILE, kPath, R::COMMON},
    {"setBluetoothConfig", I::MANAGER_COMMON, MV_COMMAND_SET_BLUETOOTH_CONFIG, kBluetooth,
     R::COMMON},
    {"getMirvo", I::MANAGER_COMMON, MV_COMMAND_GET_MIRVO, kNone, R::COMMON},
    {"getIds", I::MANAGER_COMMON, MV_COMMAND_GET_IDS, kNone, R::ACCESSORY_IDS},
    {"getHidDescriptor", I::MANAGER_COMMON, MV_COMMAND_GET_HID_DESCRIPTOR, kNone, R::RAW_DATA},
    {"connect", I::MANAGER_COMMON, MV_COMMAND_CONNECT, kText, R::COMMON},
    {"setNotifier", I::ACCESSORY_COMMON, MV_COMMON_SET_NOTIFIER, kNone, R::COMMON},
    {"sendKeyEvent", I::ACCESSORY_COMMON, MV_COMMON_SEND_KEY_EVENT, kKey, R::COMMON},
    {"sendCalibrateEvent", I::ACCESSORY_COMMON, MV_COMMON_SEND_CALIBRATE_EVENT, kNone, R::COMMON},
    {"sendVideoFocus", I::ACCESSORY_COMMON, MV_COMMON_SEND_VIDEO_FOCUS, kFocus, R::COMMON},
    {"cookKeyEvent", I::ACCESSORY_COMMON, MV_COMMON_COOK_KEY_EVENT, kKey, R::RAW_DATA},
    {"cookCalibrateEvent", I::ACCESSORY_COMMON, MV_COMMON_COOK_CALIBRATE_EVENT, kNone, R::RAW_DATA},
    {"sendOnReadyForPairing", I::ACCESSORY_COMMON, MV_COMMON_SEND_ON_READY_FOR_PAIRING, kFlag,
     R::COMMON},
    {"sendForceLandscape", I::ACCESSORY_COMMON, MV_COMMON_SEND_FORCE_LANDSCAPE, kFlag, R::COMMON},
    {"sendTimeDateInquiry", I::ACCESSORY_COMMON, MV_COMMON_SEND_TIME_DATE_INQUIRY, kNone,
     R::COMMON},
    {"setFeature", I::ACCESSORY_RAW_DATA, MV_RAW_DATA_SET_FEATURE, kFeature, R::RAW_DATA},
    {"sendTouchEvent", I::ACCESSORY_TOUCH_EVENT, MV_TOUCH_SEND, kTouch, R::COMMON},
    {"cookTouchEvent", I::ACCESSORY_TOUCH_EVENT, MV_TOUCH_COOK, kTouch, R::RAW_DATA},
    {"sendDisplayConfiguration", I::ACCESSORY_DISPLAY_CONFIGURATION, MV_DISPLAY_CONFIGURATION,
     kDisplay, R::COMMON},
};

// The names are those of the emulator's commands.
inline constexpr Usage kEvents[] = {
    {"attach", N::MANAGER_COMMON, MV_ATTACHED, kNone},
    {"detach", N::MANAGER_COMMON, MV_DETACHED, kNone},
    {"unavailable", N::ACCESSORY_COMMON, MV_CONTROL_UNAVAILABLE, kNone},
    {"state", N::ACCESSORY_COMMON, MV_RUNNING_STATE_CHANGE, kState},
    {"orientation", N::ACCESSORY_COMMON, MV_SCREEN_ORIENTATION_CHANGE, kOrientation},
    {"error", N::ACCESSORY_COMMON, MV_ERROR_EVENT, kError},
    {"request", N::ACCESSORY_RAW_DATA, MV_DEVICE_REQUEST, kBytes},
    {"response", N::ACCESSORY_RAW_DATA, MV_DEVICE_RESPONSE, kBytes},
    {"descriptor", N::ACCESSORY_RAW_DATA, MV_HID_REPORT_DESCRIPTOR, kBytes},
    {"hid", N::ACCESSORY_RAW_DATA, MV_HID_EVENT, kBytes},
    {"notify", N::ACCESSORY_COMMON, kAnyCode, kAnyValue},
    {"raw", N::ACCESSORY_RAW_DATA, kAnyCode, kAnyBytes},
};

}  // namespace usage

using usage::kEvents;
using usage::kOperations;

}  // namespace accessory

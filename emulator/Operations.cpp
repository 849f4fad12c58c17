#include "emulator/Operations.h"

#include <algorithm>
#include <iterator>

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "tool/Text.h"

namespace emulator {
namespace {

using namespace accessory;

template <typename Item>
Item& as(ServiceItem& item) {
    return static_cast<Item&>(item);
}

Json none(ServiceItem&) {
    return Json::object();
}

Json versionArgument(ServiceItem& item) {
    return {{"version", as<MVSItemManagerVersion>(item).version.c_str()}};
}

Json textArgument(ServiceItem& item) {
    return {{"arg", as<MVSItemManagerCommon>(item).stringValue.c_str()}};
}

Json pathArgument(ServiceItem& item) {
    return {{"path", as<MVSItemManagerCommon>(item).stringValue.c_str()}};
}

Json bluetoothArguments(ServiceItem& item) {
    const auto& common = as<MVSItemManagerCommon>(item);
    return {{"text", common.stringValue.c_str()}, {"value", common.intValue}};
}

Json flagArgument(ServiceItem& item) {
    return {{"flag", as<MVSItemAccessoryCommon>(item).boolValue}};
}

Json keyArguments(ServiceItem& item) {
    const auto& common = as<MVSItemAccessoryCommon>(item);
    return {{"keyCode", static_cast<uint32_t>(common.intValue)}, {"flag", common.boolValue}};
}

Json focusArguments(ServiceItem& item) {
    const auto& common = as<MVSItemAccessoryCommon>(item);
    return {{"focus", common.intValue}, {"flag", common.boolValue}};
}

Json touchArguments(ServiceItem& item) {
    const auto& touch = as<MVSItemAccessoryTouchEvent>(item);
    Json arguments = {{"time", touch.time},      {"count", touch.count},
                      {"array1", Json::array()}, {"array2", Json::array()},
                      {"array3", Json::array()}, {"action", touch.action},
                      {"extra", touch.extra}};
    for (int32_t i = 0; touch.array1 != nullptr && i < touch.count; ++i) {
        arguments["array1"].push_back(static_cast<uint32_t>(touch.array1[i]));
        arguments["array2"].push_back(static_cast<uint32_t>(touch.array2[i]));
        arguments["array3"].push_back(static_cast<uint32_t>(touch.array3[i]));
    }
    return arguments;
}

Json featureArguments(ServiceItem& item) {
    const auto& raw = as<MVSItemAccessoryRawData>(item);
    const bool present = raw.data != nullptr && raw.size > 0;
    return {{"feature", static_cast<uint32_t>(raw.intValue)},
            {"data", tool::toHex(raw.data, present ? static_cast<size_t>(raw.size) : 0)}};
}

Json displayArguments(ServiceItem& item) {
    const auto& display = as<MVSItemAccessoryDisplayConfiguration>(item);
    return {{"value1", display.value1},
            {"value2", display.value2},
            {"value3", display.value3},
            {"value4", display.value4},
            {"value5", display.value5}};
}

using I = MVServiceItem;
using R = MVServiceReply;

constexpr Operation kOperations[] = {
    {"getVersion", I::MANAGER_VERSION, 0, R::VERSION, versionArgument},
    {"startup", I::MANAGER_COMMON, MV_COMMAND_STARTUP, R::COMMON, none},
    {"shutdown", I::MANAGER_COMMON, MV_COMMAND_SHUTDOWN, R::COMMON, none},
    {"disconnect", I::MANAGER_COMMON, MV_COMMAND_DISCONNECT, R::COMMON, textArgument},
    {"setConfigFile", I::MANAGER_COMMON, MV_COMMAND_SET_CONFIG_FILE, R::COMMON, pathArgument},
    {"setBluetoothConfig", I::MANAGER_COMMON, MV_COMMAND_SET_BLUETOOTH_CONFIG, R::COMMON,
     bluetoothArguments},
    {"getMirvo", I::MANAGER_COMMON, MV_COMMAND_GET_MIRVO, R::COMMON, none},
    {"getIds", I::MANAGER_COMMON, MV_COMMAND_GET_IDS, R::ACCESSORY_IDS, none},
    {"getHidDescriptor", I::MANAGER_COMMON, MV_COMMAND_GET_HID_DESCRIPTOR, R::RAW_DATA, none},
    {"connect", I::MANAGER_COMMON, MV_COMMAND_CONNECT, R::COMMON, textArgument},
    {"setNotifier", I::ACCESSORY_COMMON, MV_COMMON_SET_NOTIFIER, R::COMMON, none},
    {"sendKeyEvent", I::ACCESSORY_COMMON, MV_COMMON_SEND_KEY_EVENT, R::COMMON, keyArguments},
    {"sendCalibrateEvent", I::ACCESSORY_COMMON, MV_COMMON_SEND_CALIBRATE_EVENT, R::COMMON, none},
    {"sendVideoFocus", I::ACCESSORY_COMMON, MV_COMMON_SEND_VIDEO_FOCUS, R::COMMON, focusArguments},
    {"cookKeyEvent", I::ACCESSORY_COMMON, MV_COMMON_COOK_KEY_EVENT, R::RAW_DATA, keyArguments},
    {"cookCalibrateEvent", I::ACCESSORY_COMMON, MV_COMMON_COOK_CALIBRATE_EVENT, R::RAW_DATA, none},
    {"sendOnReadyForPairing", I::ACCESSORY_COMMON, MV_COMMON_SEND_ON_READY_FOR_PAIRING, R::COMMON,
     flagArgument},
    {"sendForceLandscape", I::ACCESSORY_COMMON, MV_COMMON_SEND_FORCE_LANDSCAPE, R::COMMON,
     flagArgument},
    {"sendTimeDateInquiry", I::ACCESSORY_COMMON, MV_COMMON_SEND_TIME_DATE_INQUIRY, R::COMMON, none},
    {"setFeature", I::ACCESSORY_RAW_DATA, MV_RAW_DATA_SET_FEATURE, R::RAW_DATA, featureArguments},
    {"sendTouchEvent", I::ACCESSORY_TOUCH_EVENT, MV_TOUCH_SEND, R::COMMON, touchArguments},
    {"cookTouchEvent", I::ACCESSORY_TOUCH_EVENT, MV_TOUCH_COOK, R::RAW_DATA, touchArguments},
    {"sendDisplayConfiguration", I::ACCESSORY_DISPLAY_CONFIGURATION, MV_DISPLAY_CONFIGURATION,
     R::COMMON, displayArguments},
};

static_assert(std::size(kOperations) + 1 == kOperationCount);

// What tells the requests of one class apart.
int32_t commandOf(ServiceItem& item) {
    switch (item.type()) {
        case I::MANAGER_COMMON:
            return as<MVSItemManagerCommon>(item).command;
        case I::ACCESSORY_COMMON:
            return as<MVSItemAccessoryCommon>(item).command;
        case I::ACCESSORY_RAW_DATA:
            return as<MVSItemAccessoryRawData>(item).command;
        case I::ACCESSORY_TOUCH_EVENT:
            return as<MVSItemAccessoryTouchEvent>(item).command;
        case I::ACCESSORY_DISPLAY_CONFIGURATION:
            return as<MVSItemAccessoryDisplayConfiguration>(item).command;
        default:
            return 0;
    }
}

std::optional<uint32_t> accessoryOf(ServiceItem& item, int32_t command) {
    if (item.type() >= I::ACCESSORY_COMMON) {
        return static_cast<uint32_t>(as<MVSItemAccessoryBase>(item).accessoryId());
    }
    if (item.type() == I::MANAGER_COMMON && command == MV_COMMAND_GET_MIRVO) {
        return static_cast<uint32_t>(as<MVSItemManagerCommon>(item).intValue);
    }
    return std::nullopt;
}

}  // namespace

const Operation* findOperation(const std::string& name) {
    for (const Operation& operation : kOperations) {
        if (operation.name == name) return &operation;
    }
    return nullptr;
}

std::vector<std::string> operationNames() {
    std::vector<std::string> names;
    for (const Operation& operation : kOperations)
        names.emplace_back(operation.name);
    return names;
}

bool concernsAccessory(const Operation& operation) {
    return operation.item >= I::ACCESSORY_COMMON || operation.command == MV_COMMAND_GET_MIRVO;
}

Json emptyArguments(const Operation& operation) {
    const sp<ServiceInfo> info = new MirvoServiceInfo;
    const sp<ServiceItem> item = info->protocol()->itemFactory()->create(operation.item);
    return operation.arguments(*item);
}

const char* replyName(int32_t type) {
    switch (type) {
        case R::COMMON:
            return "COMMON";
        case R::ACCESSORY_IDS:
            return "ACCESSORY_IDS";
        case R::RAW_DATA:
            return "RAW_DATA";
        default:
            return "VERSION";
    }
}

Request identify(ServiceItem& item) {
    Request request;
    const int32_t command = commandOf(item);
    request.accessory = accessoryOf(item, command);
    for (const Operation& operation : kOperations) {
        if (operation.item != item.type() || operation.command != command) continue;
        request.operation = &operation;
        break;
    }
    return request;
}

Json argumentsOf(const Request& request, ServiceItem& item) {
    if (request.operation != nullptr) return request.operation->arguments(item);
    return {{"item", item.type()}, {"command", commandOf(item)}};
}

size_t variableBytes(ServiceItem& item) {
    int64_t bytes = 0;
    switch (item.type()) {
        case I::MANAGER_VERSION:
            return as<MVSItemManagerVersion>(item).version.size();
        case I::MANAGER_COMMON:
            return as<MVSItemManagerCommon>(item).stringValue.size();
        case I::ACCESSORY_COMMON:
            return as<MVSItemAccessoryCommon>(item).stringValue.size();
        case I::ACCESSORY_RAW_DATA:
            bytes = as<MVSItemAccessoryRawData>(item).size;
            break;
        case I::ACCESSORY_TOUCH_EVENT:
            bytes = as<MVSItemAccessoryTouchEvent>(item).count * int64_t{3 * sizeof(int32_t)};
            break;
        default:
            break;
    }
    return static_cast<size_t>(std::max<int64_t>(bytes, 0));
}

size_t indexOf(const Operation* operation) {
    return operation == nullptr ? std::size(kOperations)
                                : static_cast<size_t>(operation - std::begin(kOperations));
}

}  // namespace emulator

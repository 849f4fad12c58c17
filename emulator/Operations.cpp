#include "emulator/Operations.h"

#include <algorithm>
#include <iterator>

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "recording/Messages.h"

namespace emulator {
namespace {

using namespace accessory;

template <typename Item>
Item& as(ServiceItem& item) {
    return static_cast<Item&>(item);
}

using I = MVServiceItem;
using R = MVServiceReply;

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

std::vector<std::string> operationNames() {
    std::vector<std::string> names;
    for (const Operation& operation : kOperations)
        names.emplace_back(operation.name);
    return names;
}

bool concernsAccessory(const Operation& operation) {
    return operation.type >= I::ACCESSORY_COMMON || operation.code == MV_COMMAND_GET_MIRVO;
}

Json emptyArguments(const Operation& operation) {
    const sp<ServiceInfo> info = new MirvoServiceInfo;
    const sp<ServiceItem> item = info->protocol()->itemFactory()->create(operation.type);
    const Json message = recording::decode(*item).message;
    Json arguments = Json::object();
    for (const Argument* next = operation.arguments; next->name != nullptr; ++next)
        arguments[next->name] = next->isUnsigned ? Json(uint32_t{0}) : message[next->field];
    return arguments;
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
        if (operation.type != item.type() || operation.code != command) continue;
        request.operation = &operation;
        break;
    }
    return request;
}

Json argumentsOf(ServiceItem& item) {
    return recording::decode(item).arguments;
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

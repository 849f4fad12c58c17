#include "emulator/Events.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/MVDeviceRecords.h"
#include "protocol/ManagerMessages.h"

namespace emulator {
namespace {

using namespace accessory;

// Device requests and responses travel as the image of their record.
template <typename Record>
tool::Bytes imageOf(const Record& record) {
    tool::Bytes bytes(sizeof(record));
    memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

}  // namespace

Notification managerEvent(int32_t code, uint32_t accessoryId) {
    sp<MVSNotifyManagerCommon> notify = new MVSNotifyManagerCommon;
    notify->notifyType = code;
    notify->accessoryId = static_cast<int32_t>(accessoryId);
    return notify;
}

Notification accessoryEvent(uint32_t accessoryId, int32_t code, int32_t value) {
    sp<MVSNotifyAccessoryCommon> notify = new MVSNotifyAccessoryCommon;
    notify->mAccessoryId = static_cast<int32_t>(accessoryId);
    notify->notifyType = code;
    notify->intValue = value;
    return notify;
}

Notification rawEvent(uint32_t accessoryId, int32_t code, const tool::Bytes& bytes) {
    sp<MVSNotifyAccessoryRawData> notify = new MVSNotifyAccessoryRawData;
    notify->mAccessoryId = static_cast<int32_t>(accessoryId);
    notify->notifyType = code;
    notify->size = static_cast<int32_t>(bytes.size());
    if (!bytes.empty()) {
        notify->data = new uint8_t[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), notify->data);
    }
    return notify;
}

Notification deviceRequest(uint32_t accessoryId, int32_t param1, int32_t param2) {
    MVDeviceRequest request = {};
    request.type = MVDeviceRequest::kNumbers;
    request.param1 = param1;
    request.param2 = param2;
    return rawEvent(accessoryId, MV_DEVICE_REQUEST, imageOf(request));
}

Notification deviceRequestData(uint32_t accessoryId, const tool::Bytes& bytes) {
    MVDeviceRequest request = {};
    request.type = MVDeviceRequest::kBytes;
    request.dataLength = static_cast<int32_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), request.data);
    return rawEvent(accessoryId, MV_DEVICE_REQUEST, imageOf(request));
}

Notification deviceResponse(uint32_t accessoryId) {
    MVDeviceResponse response = {};
    response.type = MVDeviceResponse::kPlain;
    return rawEvent(accessoryId, MV_DEVICE_RESPONSE, imageOf(response));
}

Notification timeDate(uint32_t accessoryId, const std::array<int32_t, 9>& n) {
    const MVDeviceResponse response = {
        MVDeviceResponse::kTimeDate, n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7], n[8]};
    return rawEvent(accessoryId, MV_DEVICE_RESPONSE, imageOf(response));
}

Notification timeDateNow(uint32_t accessoryId) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    char week[3] = "";
    strftime(week, sizeof(week), "%V", &local);
    return timeDate(
        accessoryId,
        {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
         local.tm_sec, static_cast<int32_t>(now.tv_nsec / 1'000'000), atoi(week), local.tm_wday});
}

}  // namespace emulator

#include "accessory/MVNotifyListener.h"

#include <android/log.h>

#include <new>
#include <utility>

#include "accessory/AutoTrace.h"
#include "accessory/CallbackScope.h"
#include "accessory/MirvoImpl.h"
#include "protocol/MVCodes.h"

namespace accessory {
namespace {

constexpr const char* kLogTag = "Mirvo[c]";
constexpr const char* kFunction = "onNotify";
constexpr int32_t kUnknownType = 0;

void logUnhandled() {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "[%s]unhandle common notify", kFunction);
}

void dispatch(MirvoNotifier& notifier, const MVSNotifyAccessoryCommon& notify) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "on common notify type:%d", notify.notifyType);
    switch (notify.notifyType) {
        case MV_CONTROL_UNAVAILABLE:
            return notifier.controlUnavailable();
        case MV_RUNNING_STATE_CHANGE:
            return notifier.runningStateChange(notify.intValue);
        case MV_SCREEN_ORIENTATION_CHANGE:
            return notifier.screenOrientationChange(notify.intValue);
        case MV_ERROR_EVENT:
            return notifier.errorEvent(notify.intValue);
        default:
            return logUnhandled();
    }
}

// Returns the notification's block as the record that it is an image of. When the block is too
// short for one, that is logged, and the result is null. The record lives in the block, which new[]
// has aligned for any type.
template <typename Record>
Record* recordIn(const MVSNotifyAccessoryRawData& notify) {
    if (notify.data == nullptr || notify.size < static_cast<int32_t>(sizeof(Record))) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "rawdata of type %d too short: %d",
                            notify.notifyType, notify.size);
        return nullptr;
    }
    return std::launder(reinterpret_cast<Record*>(notify.data));
}

void deviceRequest(MirvoNotifier& notifier, const MVSNotifyAccessoryRawData& notify) {
    auto* request = recordIn<MVDeviceRequest>(notify);
    if (request == nullptr) return;
    const bool fits = request->dataLength >= 0 && request->dataLength <= MVDeviceRequest::kMaxData;
    if (request->type == MVDeviceRequest::kBytes && !fits) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "device request of %d bytes dropped",
                            request->dataLength);
        return;
    }
    notifier.deviceRequest(*request);
}

void deviceResponse(MirvoNotifier& notifier, const MVSNotifyAccessoryRawData& notify) {
    auto* response = recordIn<MVDeviceResponse>(notify);
    if (response != nullptr) notifier.deviceResponse(*response);
}

void dispatch(MirvoNotifier& notifier, const MVSNotifyAccessoryRawData& notify) {
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "on rawdata notify type:%d", notify.notifyType);
    // Without bytes the length that is passed on is 0, whatever the notification announced.
    const bool present = notify.data != nullptr && notify.size > 0;
    const unsigned int length = present ? static_cast<unsigned int>(notify.size) : 0;
    switch (notify.notifyType) {
        case MV_DEVICE_REQUEST:
            return deviceRequest(notifier, notify);
        case MV_DEVICE_RESPONSE:
            return deviceResponse(notifier, notify);
        case MV_HID_REPORT_DESCRIPTOR:
            return notifier.hidReportDescriptor(notify.data, length);
        case MV_HID_EVENT:
            return notifier.hidEvent(notify.data, length);
        default:
            return logUnhandled();
    }
}

}  // namespace

void MVNotifyListener::onNotify(sp<ServiceNotify>& notify) {
    // The framework may let the listener go from here on.
    const sp<MVNotifyListener> self = this;
    AutoTrace trace(kLogTag, kFunction, true);
    // Taken once and kept for the call, because the handle may go at any moment after this.
    sp<MirvoNotifier> notifier;
    unsigned int accessoryId = 0;
    const bool attached = mImpl.withOwner([&](MirvoImpl& impl) {
        notifier = impl.mNotifier;
        accessoryId = impl.mAccessoryId;
    });
    if (!attached) return;
    if (notifier == nullptr) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "[%s]:notifier is null", kFunction);
        return;
    }
    // The framework delivers null when its factory could not make the notification.
    const int32_t type = notify == nullptr ? kUnknownType : notify->type();
    if (type != MVServiceNotify::ACCESSORY_COMMON && type != MVServiceNotify::ACCESSORY_RAW_DATA) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "[%s]notify type invaild", kFunction);
        return;
    }
    auto* event = static_cast<MVSNotifyAccessoryBase*>(notify.get());
    if (static_cast<unsigned int>(event->accessoryId()) != accessoryId) return;

    CallbackScope scope;
    if (type == MVServiceNotify::ACCESSORY_COMMON) {
        dispatch(*notifier, *static_cast<MVSNotifyAccessoryCommon*>(event));
    } else {
        dispatch(*notifier, *static_cast<MVSNotifyAccessoryRawData*>(event));
    }
}

void MVNotifyListener::install(sp<MirvoNotifier> notifier) {
    // The previous notifier goes with the argument, after the lock.
    mImpl.withOwner([&](MirvoImpl& impl) { std::swap(impl.mNotifier, notifier); });
}

}  // namespace accessory

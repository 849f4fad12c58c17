#include "api/ZRMirvoNotifier.h"

#include <algorithm>
#include <iterator>

#include "accessory/AutoTrace.h"
#include "api/Precondition.h"
#include "protocol/MVCodes.h"

namespace zrmirvo {
namespace {

using accessory::AutoTrace;

struct DeviceError {
    int code;
    const char* name;
    bool disconnects;
};

constexpr DeviceError kDeviceErrors[] = {
    {accessory::MV_ERROR_CODE_PROTOCOL_CONNECT_FAIL, "MV_ERROR_CODE_PROTOCOL_CONNECT_FAIL", false},
    {accessory::MV_ERROR_CODE_TRANSPORT_FATAL, "MV_ERROR_CODE_TRANSPORT_FATAL", true},
    {accessory::MV_ERROR_CODE_PING_FAIL, "MV_ERROR_CODE_PING_FAIL", true},
    {accessory::MV_ERROR_CODE_VIDEO_PLAYER_ALLOC_FAIL, "MV_ERROR_CODE_VIDEO_PLAYER_ALLOC_FAIL",
     true},
};

template <typename Callback>
bool addTo(CallbackList<Callback>& callbacks, Callback* cb) {
    if (callbacks.add(cb)) return true;
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no callback is taken during a release\n");
    return false;
}

}  // namespace

ZRMirvoManagerNotifier::ZRMirvoManagerNotifier() {
    AutoTrace trace(kLogTag, __func__, true);
}

void ZRMirvoManagerNotifier::error(int errorCode) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "errorCode=%d\n", errorCode);
    mCallbacks.forEach([](auto& callback) { callback.onError(); });
}

void ZRMirvoManagerNotifier::attach(unsigned int accessoryId) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "accessoryId=%d\n", accessoryId);
    mCallbacks.forEach([&](auto& callback) { callback.onAttach(accessoryId); });
}

void ZRMirvoManagerNotifier::detach(unsigned int accessoryId) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "accessoryId=%d\n", accessoryId);
    mCallbacks.forEach([&](auto& callback) { callback.onDetach(accessoryId); });
}

bool ZRMirvoManagerNotifier::setCallbackObject(ZRMirvoManagerCallback* cb) {
    AutoTrace trace(kLogTag, __func__, true);
    return addTo(mCallbacks, cb);
}

void ZRMirvoManagerNotifier::unsetCallbackObject(ZRMirvoManagerCallback* cb) {
    AutoTrace trace(kLogTag, __func__, true);
    mCallbacks.remove(cb);
}

ZRMirvoNotifier::ZRMirvoNotifier(const sp<ManagerLink>& mvMgr) : mManager(mvMgr) {
    AutoTrace trace(kLogTag, __func__, true);
    holds(mvMgr != nullptr, "mvMgr != NULL");
}

void ZRMirvoNotifier::runningStateChange(int state) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "state=%d\n", state);
    mCallbacks.forEach([&](auto& callback) { callback.onRunningStateChange(state); });
}

void ZRMirvoNotifier::controlUnavailable() {
    AutoTrace trace(kLogTag, __func__, true);
    mCallbacks.forEach([](auto& callback) { callback.onControlUnavailable(); });
}

void ZRMirvoNotifier::screenOrientationChange(int orientation) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "orientation:%d\n", orientation);
    mCallbacks.forEach([&](auto& callback) { callback.onScreenOrientationChange(orientation); });
}

void ZRMirvoNotifier::deviceRequest(MVDeviceRequest& request) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "type:%d\n", request.type);
    if (request.type == MVDeviceRequest::kNumbers) {
        mCallbacks.forEach(
            [&](auto& callback) { callback.onDeviceRequest(request.param1, request.param2); });
    } else if (request.type == MVDeviceRequest::kBytes) {
        mCallbacks.forEach([&](auto& callback) {
            callback.onDeviceRequestData(request.data, request.dataLength);
        });
    }
}

void ZRMirvoNotifier::deviceResponse(MVDeviceResponse& response) {
    AutoTrace trace(kLogTag, __func__, true);
    __android_log_print(ANDROID_LOG_INFO, kLogTag, "type:%d\n", response.type);
    if (response.type == MVDeviceResponse::kPlain) {
        mCallbacks.forEach([](auto& callback) { callback.onDeviceResponse(); });
    } else if (response.type == MVDeviceResponse::kTimeDate) {
        const ZRMirvoTimeDate timeDate = {
            response.date1,  response.date2,    response.date3, response.hour,      response.minute,
            response.second, response.fraction, response.week,  response.dayOfWeek,
        };
        __android_log_print(ANDROID_LOG_INFO, kLogTag,
                            "[%s:%d]Date[%d/%d/%d] Time[%d:%d:%d.%d] week[%d] dayOfWeek[%d] ",
                            __func__, __LINE__, timeDate.date1, timeDate.date2, timeDate.date3,
                            timeDate.hour, timeDate.minute, timeDate.second, timeDate.fraction,
                            timeDate.week, timeDate.dayOfWeek);
        mCallbacks.forEach([&](auto& callback) { callback.onTimeDateResponse(&timeDate); });
    }
}

void ZRMirvoNotifier::hidReportDescriptor(unsigned char* data, unsigned int length) {
    AutoTrace trace(kLogTag, __func__, true);
    mCallbacks.forEach([&](auto& callback) { callback.onHidReportDescriptor(data, length); });
}

void ZRMirvoNotifier::hidEvent(unsigned char* data, unsigned int length) {
    AutoTrace trace(kLogTag, __func__, true);
    mCallbacks.forEach([&](auto& callback) { callback.onHidEvent(data, length); });
}

void ZRMirvoNotifier::errorEvent(int code) {
    AutoTrace trace(kLogTag, __func__, true);
    const auto* error = std::find_if(std::begin(kDeviceErrors), std::end(kDeviceErrors),
                                     [&](const DeviceError& row) { return row.code == code; });
    if (error == std::end(kDeviceErrors)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "[%s:%d] unknown error event[%d]!\n",
                            __func__, __LINE__, code);
        return;
    }
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "[%s:%d] %s!\n", __func__, __LINE__,
                        error->name);
    if (error->disconnects) mCallbacks.unlessClosed([this] { disconnect(); });
}

void ZRMirvoNotifier::disconnect() {
    const sp<accessory::MirvoManager> client = mManager == nullptr ? nullptr : mManager->client();
    if (client == nullptr) return;
    AutoTrace trace(kLogTag, __func__, true);
    client->disconnect("");
}

bool ZRMirvoNotifier::setCallbackObject(ZRMirvoCallback* cb) {
    AutoTrace trace(kLogTag, __func__, true);
    return addTo(mCallbacks, cb);
}

void ZRMirvoNotifier::unsetCallbackObject(ZRMirvoCallback* cb) {
    AutoTrace trace(kLogTag, __func__, true);
    mCallbacks.remove(cb);
}

}  // namespace zrmirvo

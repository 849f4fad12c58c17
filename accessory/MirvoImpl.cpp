#include "accessory/MirvoImpl.h"

#include <limits>
#include <utility>

#include "accessory/AutoTrace.h"
#include "accessory/Exchange.h"
#include "accessory/MVNotifyListener.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"

namespace accessory {
namespace {

constexpr const char* kLogTag = "Mirvo[c]";

// One command that is answered by a `Reply`. Works on copies, so that the handle may go meanwhile.
template <typename Reply, typename Item, typename Fill>
sp<Reply> command(sp<ServiceClient> client, unsigned int accessoryId, int32_t code, Fill fill) {
    return exchange<Reply>(kLogTag, client, [&] {
        sp<Item> item = new Item(static_cast<int32_t>(accessoryId), code);
        fill(*item);
        return item;
    });
}

template <typename Reply>
sp<Reply> commonCommand(const sp<ServiceClient>& client, unsigned int accessoryId, int32_t code,
                        int32_t intValue = -1, bool boolValue = false) {
    return command<Reply, MVSItemAccessoryCommon>(client, accessoryId, code, [&](auto& item) {
        item.intValue = intValue;
        item.boolValue = boolValue;
    });
}

template <typename Reply>
sp<Reply> touchCommand(sp<ServiceClient> client, unsigned int accessoryId, int32_t code,
                       const MVTouchEvent& event) {
    return exchange<Reply>(kLogTag, client, [&] {
        sp<MVSItemAccessoryTouchEvent> item = new MVSItemAccessoryTouchEvent(
            static_cast<int32_t>(accessoryId), code, event.time, event.count, event.action,
            event.extra, reinterpret_cast<const int32_t*>(event.array1),
            reinterpret_cast<const int32_t*>(event.array2),
            reinterpret_cast<const int32_t*>(event.array3));
        // One that could not copy all pointers has said so; it must not arrive as a touch without
        // any.
        if (item->count != event.count) item.clear();
        return item;
    });
}

// Hands the bytes of a cook reply to the caller, whatever its result says.
int deliver(const sp<MVSReplyRawData>& reply, unsigned char** out, int* length) {
    if (reply == nullptr) return kFailed;
    uint8_t* bytes = copyBytes(*reply);
    if (bytes == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no bytes for a cooked event of size %d\n",
                            reply->size);
        return kFailed;
    }
    *length = reply->size;
    *out = bytes;
    return reply->result;
}

}  // namespace

MirvoImpl::MirvoImpl(unsigned int accessoryId) : mAccessoryId(accessoryId) {
    AutoTrace trace(kLogTag, __func__, true);
    mServiceClient = bindToService();
    mListener = new MVNotifyListener(this);
    if (mServiceClient != nullptr) {
        sp<ServiceNotifyListener> listener = mListener;
        mServiceClient->setNotifyListener(listener);
    }
}

MirvoImpl::~MirvoImpl() {
    AutoTrace trace(kLogTag, __func__, true);
    mListener->detach();
    if (mServiceClient != nullptr) {
        sp<ServiceNotifyListener> listener = mListener;
        mServiceClient->removeNotifyListener(listener);
        mServiceClient.clear();
    }
}

int MirvoImpl::setNotifier(const sp<MirvoNotifier>& notifier) {
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(notifier.get())) return illegalParameter(kLogTag);
    const sp<MVNotifyListener> listener = mListener;
    const auto reply =
        commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId, MV_COMMON_SET_NOTIFIER);
    const int result = status(reply);
    // Through the listener, which knows whether this handle is still there.
    if (reply != nullptr && result == 0) listener->install(notifier);
    return result;
}

int MirvoImpl::setFeature(unsigned int feature, void* data, unsigned int size) {
    AutoTrace trace(kLogTag, __func__, true);
    // A larger size would reach the service as a negative one.
    const bool fits = size <= static_cast<unsigned int>(std::numeric_limits<int32_t>::max());
    if (!fits) return illegalParameter(kLogTag);
    return status(command<MVSReplyRawData, MVSItemAccessoryRawData>(
        mServiceClient, mAccessoryId, MV_RAW_DATA_SET_FEATURE, [&](auto& item) {
            item.intValue = static_cast<int32_t>(feature);
            item.size = static_cast<int32_t>(size);
            item.data = static_cast<uint8_t*>(data);
        }));
}

int MirvoImpl::sendTouchEvent(MVTouchEvent* event) {
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(event)) return illegalParameter(kLogTag);
    return status(
        touchCommand<MVSReplyCommon>(mServiceClient, mAccessoryId, MV_TOUCH_SEND, *event));
}

int MirvoImpl::sendKeyEvent(unsigned int keyCode, bool flag) {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_KEY_EVENT,
                                                static_cast<int32_t>(keyCode), flag));
}

int MirvoImpl::sendCalibrateEvent() {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_CALIBRATE_EVENT));
}

int MirvoImpl::cookTouchEvent(MVTouchEvent* event, unsigned char** out, int* length) {
    if (anyNull(event, out, length)) return illegalParameter(kLogTag);
    return deliver(
        touchCommand<MVSReplyRawData>(mServiceClient, mAccessoryId, MV_TOUCH_COOK, *event), out,
        length);
}

int MirvoImpl::cookKeyEvent(unsigned int keyCode, bool flag, unsigned char** out, int* length) {
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(out, length)) return illegalParameter(kLogTag);
    return deliver(
        commonCommand<MVSReplyRawData>(mServiceClient, mAccessoryId, MV_COMMON_COOK_KEY_EVENT,
                                       static_cast<int32_t>(keyCode), flag),
        out, length);
}

int MirvoImpl::cookCalibrateEvent(unsigned char** out, int* length) {
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(out, length)) return illegalParameter(kLogTag);
    return deliver(commonCommand<MVSReplyRawData>(mServiceClient, mAccessoryId,
                                                  MV_COMMON_COOK_CALIBRATE_EVENT),
                   out, length);
}

int MirvoImpl::sendForceLandscape(bool flag) {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_FORCE_LANDSCAPE, -1, flag));
}

int MirvoImpl::sendVideoFocus(int focus, bool flag) {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_VIDEO_FOCUS, focus, flag));
}

int MirvoImpl::sendOnReadyForPairing(bool flag) {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_ON_READY_FOR_PAIRING, -1, flag));
}

int MirvoImpl::sendTimeDateInquiry() {
    AutoTrace trace(kLogTag, __func__, true);
    return status(commonCommand<MVSReplyCommon>(mServiceClient, mAccessoryId,
                                                MV_COMMON_SEND_TIME_DATE_INQUIRY));
}

int MirvoImpl::sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                        int value5) {
    AutoTrace trace(kLogTag, __func__, true);
    return status(command<MVSReplyCommon, MVSItemAccessoryDisplayConfiguration>(
        mServiceClient, mAccessoryId, MV_DISPLAY_CONFIGURATION, [&](auto& item) {
            item.value1 = value1;
            item.value2 = value2;
            item.value3 = value3;
            item.value4 = value4;
            item.value5 = value5;
        }));
}

}  // namespace accessory

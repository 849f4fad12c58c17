#include "accessory/MirvoImpl.h"

#include <limits>
#include <utility>

#include "accessory/AutoTrace.h"
#include "accessory/MVNotifyListener.h"
#include "accessory/Request.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"

namespace accessory {
namespace {

constexpr const char* kLogTag = "Mirvo[c]";

// The client and the accessory to which an operation is addressed. That is all it needs of its
// handle. It takes this before its first log line, because the handle may be released at any moment
// after.
class Address {
public:
    Address(const sp<ServiceClient>& client, unsigned int accessoryId)
        : mClient(client), mAccessoryId(static_cast<int32_t>(accessoryId)) {}

    // One request of the class `Item`, which `fill` completes, answered by a `Reply`.
    template <typename Reply, typename Item, typename Fill>
    sp<Reply> command(int32_t code, Fill fill) const {
        return requestIfBound<Reply>(kLogTag, mClient, [&] {
            sp<Item> item = new Item(mAccessoryId, code);
            fill(*item);
            return item;
        });
    }

    template <typename Reply>
    sp<Reply> common(int32_t code, int32_t intValue = -1, bool boolValue = false) const {
        return command<Reply, MVSItemAccessoryCommon>(code, [&](auto& item) {
            item.intValue = intValue;
            item.boolValue = boolValue;
        });
    }

    template <typename Reply>
    sp<Reply> touch(int32_t code, const MVTouchEvent& event) const {
        return requestIfBound<Reply>(kLogTag, mClient, [&] {
            sp<MVSItemAccessoryTouchEvent> item = new MVSItemAccessoryTouchEvent(
                mAccessoryId, code, event.time, event.count, event.action, event.extra,
                reinterpret_cast<const int32_t*>(event.array1),
                reinterpret_cast<const int32_t*>(event.array2),
                reinterpret_cast<const int32_t*>(event.array3));
            if (item->count != event.count) {
                __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no memory for %d pointers\n",
                                    event.count);
                item.clear();
            }
            return item;
        });
    }

private:
    const sp<ServiceClient> mClient;
    const int32_t mAccessoryId;
};

// The fields of a touch event are public, so they may be anything.
bool isTouch(const MVTouchEvent& event) {
    return event.count == 0 ||
           (event.count > 0 && !anyNull(event.array1, event.array2, event.array3));
}

// Hands the bytes of a cook reply to the caller, whatever its result says.
int handOut(const sp<MVSReplyRawData>& reply, unsigned char** out, int* length) {
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
    const Binding binding;
    mServiceClient = binding.client;
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
    const Address address(mServiceClient, mAccessoryId);
    const sp<MVNotifyListener> listener = mListener;
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(notifier.get())) return illegalParameter(kLogTag);
    const auto reply = address.common<MVSReplyCommon>(MV_COMMON_SET_NOTIFIER);
    const int result = status(reply);
    // The listener knows whether this handle is still there.
    if (reply != nullptr && result == 0) listener->install(notifier);
    return result;
}

int MirvoImpl::setFeature(unsigned int feature, void* data, unsigned int size) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    // A larger size would reach the service as a negative one.
    const bool fits = size <= static_cast<unsigned int>(std::numeric_limits<int32_t>::max());
    if (!fits || (size > 0 && data == nullptr)) return illegalParameter(kLogTag);
    return status(address.command<MVSReplyRawData, MVSItemAccessoryRawData>(
        MV_RAW_DATA_SET_FEATURE, [&](auto& item) {
            item.intValue = static_cast<int32_t>(feature);
            item.size = static_cast<int32_t>(size);
            item.data = static_cast<uint8_t*>(data);
        }));
}

int MirvoImpl::sendTouchEvent(MVTouchEvent* event) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(event) || !isTouch(*event)) return illegalParameter(kLogTag);
    return status(address.touch<MVSReplyCommon>(MV_TOUCH_SEND, *event));
}

int MirvoImpl::sendKeyEvent(unsigned int keyCode, bool flag) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_KEY_EVENT,
                                                 static_cast<int32_t>(keyCode), flag));
}

int MirvoImpl::sendCalibrateEvent() {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_CALIBRATE_EVENT));
}

int MirvoImpl::cookTouchEvent(MVTouchEvent* event, unsigned char** out, int* length) {
    const Address address(mServiceClient, mAccessoryId);
    if (anyNull(event, out, length) || !isTouch(*event)) return illegalParameter(kLogTag);
    return handOut(address.touch<MVSReplyRawData>(MV_TOUCH_COOK, *event), out, length);
}

int MirvoImpl::cookKeyEvent(unsigned int keyCode, bool flag, unsigned char** out, int* length) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(out, length)) return illegalParameter(kLogTag);
    return handOut(address.common<MVSReplyRawData>(MV_COMMON_COOK_KEY_EVENT,
                                                   static_cast<int32_t>(keyCode), flag),
                   out, length);
}

int MirvoImpl::cookCalibrateEvent(unsigned char** out, int* length) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(out, length)) return illegalParameter(kLogTag);
    return handOut(address.common<MVSReplyRawData>(MV_COMMON_COOK_CALIBRATE_EVENT), out, length);
}

int MirvoImpl::sendForceLandscape(bool flag) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_FORCE_LANDSCAPE, -1, flag));
}

int MirvoImpl::sendVideoFocus(int focus, bool flag) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_VIDEO_FOCUS, focus, flag));
}

int MirvoImpl::sendOnReadyForPairing(bool flag) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_ON_READY_FOR_PAIRING, -1, flag));
}

int MirvoImpl::sendTimeDateInquiry() {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.common<MVSReplyCommon>(MV_COMMON_SEND_TIME_DATE_INQUIRY));
}

int MirvoImpl::sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                        int value5) {
    const Address address(mServiceClient, mAccessoryId);
    AutoTrace trace(kLogTag, __func__, true);
    return status(address.command<MVSReplyCommon, MVSItemAccessoryDisplayConfiguration>(
        MV_DISPLAY_CONFIGURATION, [&](auto& item) {
            item.value1 = value1;
            item.value2 = value2;
            item.value3 = value3;
            item.value4 = value4;
            item.value5 = value5;
        }));
}

}  // namespace accessory

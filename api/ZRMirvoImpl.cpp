#include "api/ZRMirvoImpl.h"

#include <new>

#include "accessory/AutoTrace.h"
#include "accessory/Status.h"
#include "api/Precondition.h"
#include "api/Translation.h"

namespace zrmirvo {
namespace {

using accessory::AutoTrace;
using accessory::kFailed;
using accessory::Mirvo;

unsigned char** bytesOut(char** out) {
    return reinterpret_cast<unsigned char**>(out);
}

// Builds the event that the application describes and sends it with `send`. Arguments that make no
// event are refused here, since nothing may throw through the application.
template <typename Send>
int withTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                   const unsigned int* array2, const unsigned int* array3, int action, int extra,
                   Send send) {
    const bool absent = array1 == nullptr || array2 == nullptr || array3 == nullptr;
    if (count < 0 || (count > 0 && absent)) {
        logError("illegal parameter!\n");
        return kFailed;
    }
    try {
        MVTouchEvent event(time, count, translateAction(action), extra, array1, array2, array3);
        return send(event);
    } catch (const std::bad_alloc&) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no memory for %d pointers\n", count);
        return kFailed;
    }
}

}  // namespace

void ZRMirvoImpl::SetInstance(const sp<Mirvo>& mirvo, const sp<ManagerLink>& manager) {
    mMirvo = mirvo;
    mNotifier = new ZRMirvoNotifier(manager);
}

int ZRMirvoImpl::listen() {
    return mMirvo->setNotifier(mNotifier);
}

bool ZRMirvoImpl::RegisterCallback(ZRMirvoCallback* cb) {
    const sp<ZRMirvoNotifier> notifier = mNotifier;
    AutoTrace trace(kLogTag, __func__, true);
    return holds(cb != nullptr, "cbObj != NULL") && notifier->setCallbackObject(cb);
}

void ZRMirvoImpl::UnregisterCallback(ZRMirvoCallback* cb) {
    const sp<ZRMirvoNotifier> notifier = mNotifier;
    AutoTrace trace(kLogTag, __func__, true);
    if (holds(cb != nullptr, "cbObj != NULL")) notifier->unsetCallbackObject(cb);
}

template <typename Call>
int ZRMirvoImpl::forward(const char* function, Call call) {
    // Taken first, because the instance may be released at any moment after.
    const sp<Mirvo> mirvo = mMirvo;
    AutoTrace trace(kLogTag, function, true);
    if (mirvo == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "[%s:%d] FATAL!! Mirvo Instance had not been got!!\n", function,
                            __LINE__);
        return kFailed;
    }
    return call(*mirvo);
}

int ZRMirvoImpl::sendTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                                const unsigned int* array2, const unsigned int* array3, int action,
                                int extra) {
    return forward(__func__, [&](Mirvo& mirvo) {
        return withTouchEvent(time, count, array1, array2, array3, action, extra,
                              [&](MVTouchEvent& event) { return mirvo.sendTouchEvent(&event); });
    });
}

int ZRMirvoImpl::sendKeyEvent(unsigned int keyCode, bool flag) {
    return forward(__func__, [&](Mirvo& mirvo) {
        return mirvo.sendKeyEvent(translateKeyCode(keyCode), flag);
    });
}

int ZRMirvoImpl::sendCalibrateEvent() {
    return forward(__func__, [](Mirvo& mirvo) { return mirvo.sendCalibrateEvent(); });
}

int ZRMirvoImpl::cookTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                                const unsigned int* array2, const unsigned int* array3, int action,
                                int extra, char** out, int* length) {
    return forward(__func__, [&](Mirvo& mirvo) {
        return withTouchEvent(time, count, array1, array2, array3, action, extra,
                              [&](MVTouchEvent& event) {
                                  return mirvo.cookTouchEvent(&event, bytesOut(out), length);
                              });
    });
}

int ZRMirvoImpl::cookKeyEvent(unsigned int keyCode, bool flag, char** out, int* length) {
    return forward(__func__, [&](Mirvo& mirvo) {
        return mirvo.cookKeyEvent(translateKeyCode(keyCode), flag, bytesOut(out), length);
    });
}

int ZRMirvoImpl::cookCalibrateEvent(char** out, int* length) {
    return forward(__func__,
                   [&](Mirvo& mirvo) { return mirvo.cookCalibrateEvent(bytesOut(out), length); });
}

int ZRMirvoImpl::sendForceLandscape(bool flag) {
    return forward(__func__, [&](Mirvo& mirvo) { return mirvo.sendForceLandscape(flag); });
}

int ZRMirvoImpl::sendVideoFocus(int focus, bool flag) {
    return forward(__func__, [&](Mirvo& mirvo) { return mirvo.sendVideoFocus(focus, flag); });
}

int ZRMirvoImpl::sendOnReadyForPairing(bool flag) {
    return forward(__func__, [&](Mirvo& mirvo) { return mirvo.sendOnReadyForPairing(flag); });
}

int ZRMirvoImpl::sendTimeDateInquiry() {
    return forward(__func__, [](Mirvo& mirvo) { return mirvo.sendTimeDateInquiry(); });
}

int ZRMirvoImpl::sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                          int value5) {
    return forward(__func__, [&](Mirvo& mirvo) {
        return mirvo.sendDisplayConfiguration(value1, value2, value3, value4, value5);
    });
}

int ZRMirvoImpl::setFeature(unsigned int feature, void* data, unsigned int size) {
    return forward(__func__, [&](Mirvo& mirvo) { return mirvo.setFeature(feature, data, size); });
}

}  // namespace zrmirvo

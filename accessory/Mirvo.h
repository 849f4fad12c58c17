#pragma once

#include <utils/RefBase.h>

#include "accessory/MVTouchEvent.h"
#include "accessory/MirvoNotifier.h"

namespace accessory {

using android::sp;

// One projected accessory, obtained from MirvoManager::getMirvo.
//
// Threads: thread-safe, and every operation may be called from inside a notifier. Each is one
// request, which blocks for at most the request timeout of the service framework. No operation may
// begin once the last reference is going. One has begun when it has taken references to what it
// needs, in its first few instructions and before its first line in the log; it then ends normally.
//
// Ownership: through sp<>. Arguments are read during the call only.
//
// Results: 0 is success. Any other value is the service's own code, or 1 for an illegal argument,
// no client, no reply or a reply of the wrong class, with one line in the log.
class Mirvo : public virtual android::RefBase {
public:
    // Asks the service to send this accessory's events. When it agrees, `notifier`, which is not
    // null, becomes their receiver. Otherwise the one that was there stays.
    virtual int setNotifier(const sp<MirvoNotifier>& notifier) = 0;
    // `data` holds `size` bytes, at most 2,147,483,647, and may be null only when `size` is 0.
    virtual int setFeature(unsigned int feature, void* data, unsigned int size) = 0;
    // `event` is not null, and its public fields describe a touch.
    virtual int sendTouchEvent(MVTouchEvent* event) = 0;
    // `keyCode` is in the service's numbering.
    virtual int sendKeyEvent(unsigned int keyCode, bool flag) = 0;
    virtual int sendCalibrateEvent() = 0;
    // The cook operations have the service turn an event into bytes. `out` and `length` are not
    // null. Once the service has delivered, whatever its result, `*out` is a new array of `*length`
    // bytes, which the caller releases with delete[]; otherwise neither is touched.
    virtual int cookTouchEvent(MVTouchEvent* event, unsigned char** out, int* length) = 0;
    virtual int cookKeyEvent(unsigned int keyCode, bool flag, unsigned char** out, int* length) = 0;
    virtual int cookCalibrateEvent(unsigned char** out, int* length) = 0;
    virtual int sendForceLandscape(bool flag) = 0;
    virtual int sendVideoFocus(int focus, bool flag) = 0;
    virtual int sendOnReadyForPairing(bool flag) = 0;
    virtual int sendTimeDateInquiry() = 0;
    virtual int sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                         int value5) = 0;
    // Declared last, because the slots of the destructor come last.
    ~Mirvo() override = default;
};

}  // namespace accessory

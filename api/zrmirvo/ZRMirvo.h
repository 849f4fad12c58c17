#pragma once

#include "ZRMirvoCallback.h"

namespace zrmirvo {

// One projected accessory, obtained from ZRMirvoManager::GetMirvoInstance.
//
// Threads: thread-safe, and every operation may be called from inside any callback. An operation
// with an int result asks the service and waits for its answer, at most for the request timeout of
// the service framework. No operation may begin once the release of the instance has begun. One has
// begun when it has taken references to what it needs, in its first few instructions and before its
// first line in the log; it then ends normally, also when the instance is released meanwhile.
//
// Ownership: the manager owns the instance, until ReleaseMirvoInstance or the release of the
// manager. The application never deletes one.
//
// Results: 0 is success. Any other value is the service's own code, or 1 when the library could not
// complete the request: no service, no answer, an answer of the wrong class, an illegal argument.
// One line in the log says which.
//
// Errors: when the accessory reports that its transport, its ping or its video player has failed,
// the library logs it and disconnects, as the manager's disconnect("") does, on the delivery
// thread. No callback is told. ReleaseMirvoInstance and ReleaseInstance wait for that as for a
// callback, and the errors of what has been released only log.
class ZRMirvo {
public:
    // Adds `cb`, which is not null, to the callbacks of this instance, behind those already there.
    // True, also when it is already registered; false, with a line in the log, for null and on an
    // instance that is being released.
    virtual bool RegisterCallback(ZRMirvoCallback* cb) = 0;

    // Removes `cb`, which is not null, and waits until it is not running on another thread;
    // ZRMirvoCallback.h says how, and which locks must not be held here. A callback that is not
    // registered is ignored, and waited for if it is still running. A callback that unregisters
    // itself makes the one behind it miss the event being delivered. A change made by another
    // thread never makes a delivery that is under way skip or repeat someone else.
    virtual void UnregisterCallback(ZRMirvoCallback* cb) = 0;

    // Sends a touch with `count` pointers, 0 or more. The three arrays hold `count` values each,
    // one per pointer, and may be null when `count` is 0; they are copied. `action` is a masked
    // MotionEvent action of Android, as getActionMasked() gives it: 0 and 5 press, 2 moves, every
    // other value lifts. With an index in its upper bits, a further finger that goes down would
    // lift. `time`, the three values per pointer and `extra` reach the service unchanged.
    //
    // This project's emulator and tools take the arrays for the pointers' numbers, their x and
    // their y, and `time` for milliseconds. The service may differ.
    virtual int sendTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                               const unsigned int* array2, const unsigned int* array3, int action,
                               int extra) = 0;

    // Sends a key. `keyCode` is a KeyEvent code of Android: 4, 24 to 26, 82, 85 to 90, 126 and 127
    // have a meaning of their own, every other one is sent as the service's general key.
    //
    // This project's emulator and tools take `flag` for down (true) and up (false). The service may
    // differ.
    virtual int sendKeyEvent(unsigned int keyCode, bool flag) = 0;

    // Sends a calibration event.
    virtual int sendCalibrateEvent() = 0;

    // As sendTouchEvent, but the service turns the event into bytes and hands them back. `out` and
    // `length` are not null. When the service has delivered its bytes, `*out` is a new array of
    // `*length` bytes, which the caller releases with delete[], whatever the result; otherwise
    // neither is touched, so set `*out` to null before the call.
    virtual int cookTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                               const unsigned int* array2, const unsigned int* array3, int action,
                               int extra, char** out, int* length) = 0;

    // As sendKeyEvent, with the bytes handed back as by cookTouchEvent.
    virtual int cookKeyEvent(unsigned int keyCode, bool flag, char** out, int* length) = 0;

    // As sendCalibrateEvent, with the bytes handed back as by cookTouchEvent.
    virtual int cookCalibrateEvent(char** out, int* length) = 0;

    // Does nothing and returns 0.
    virtual int sendAppTouchEvent(unsigned long long /*time*/, int /*count*/,
                                  const unsigned int* /*array1*/, const unsigned int* /*array2*/,
                                  const unsigned int* /*array3*/, int /*action*/, int /*extra*/) {
        return 0;
    }

    // Does nothing and returns 0.
    virtual int sendAppKeyEvent(unsigned int /*keyCode*/, bool /*flag*/) { return 0; }

    // Forces the accessory's screen into landscape orientation, or no longer.
    virtual int sendForceLandscape(bool flag) = 0;

    // Gives or takes the video focus; both values are the service's.
    virtual int sendVideoFocus(int focus, bool flag) = 0;

    // Tells the accessory whether the head unit is ready for pairing.
    virtual int sendOnReadyForPairing(bool flag) = 0;

    // Asks for the accessory's date and time; the answer comes as onTimeDateResponse.
    virtual int sendTimeDateInquiry() { return 0; }

    // Describes the display; the meaning of the five values is the service's.
    virtual int sendDisplayConfiguration(int /*value1*/, int /*value2*/, int /*value3*/,
                                         int /*value4*/, int /*value5*/) {
        return 0;
    }

    // Sets the feature `feature` to the `size` bytes at `data`, which are read during the call
    // only. `data` may be null only when `size` is 0, and `size` is at most 2,147,483,647.
    virtual int setFeature(unsigned int /*feature*/, void* /*data*/, unsigned int /*size*/) {
        return 0;
    }

protected:
    ~ZRMirvo() = default;
};

}  // namespace zrmirvo

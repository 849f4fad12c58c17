#pragma once

namespace zrmirvo {

// Receives the events of the service as a whole.
//
// Threads: every operation runs on a delivery thread of the library, one event at a time for one
// manager. From inside it every operation of this library may be called, UnregisterCallback,
// ReleaseMirvoInstance and ReleaseInstance included: those take effect at once and never wait. A
// callback must not wait for a thread that is inside one of these three, and a callback that blocks
// holds back the later events of its manager, but nobody else's.
//
// Ownership: the application owns the object. The library keeps a plain pointer from
// RegisterCallback until UnregisterCallback, or the release of the manager, has returned on an
// application thread. Unregistered from inside a callback, an object may still be running on
// another thread and must not be destroyed yet.
class ZRMirvoManagerCallback {
public:
    // The service reported an error; its loss is one. After a loss every operation of the manager
    // fails: release the manager and obtain it again.
    virtual void onError() = 0;

    // The accessory `accessoryId` has been attached. GetMirvoInstance makes an instance for it.
    virtual void onAttach(unsigned int accessoryId) = 0;

    // The accessory `accessoryId` has been detached.
    virtual void onDetach(unsigned int accessoryId) = 0;

protected:
    ~ZRMirvoManagerCallback() = default;
};

// A date and time as an accessory reports it. The meaning of the values is the accessory's.
struct ZRMirvoTimeDate {
    int date1;
    int date2;
    int date3;
    int hour;
    int minute;
    int second;
    int fraction;
    int week;
    int dayOfWeek;
};

// Receives the events of one accessory.
//
// Threads and ownership: as for ZRMirvoManagerCallback, with the instance in the manager's place.
// Every pointer that an operation receives is valid during that call only.
class ZRMirvoCallback {
public:
    // The running state of the accessory changed to `state`, in the service's numbering.
    virtual void onRunningStateChange(int state) = 0;

    // The accessory cannot be controlled at present.
    virtual void onControlUnavailable() = 0;

    // The accessory requests something and sends `dataLength` bytes with it, 0 to 36. `data` is
    // never null.
    virtual void onDeviceRequestData(unsigned char* data, int dataLength) = 0;

    // The accessory requests something that two numbers describe.
    virtual void onDeviceRequest(int param1, int param2) = 0;

    // The orientation of the accessory's screen changed, in the service's numbering.
    virtual void onScreenOrientationChange(int orientation) = 0;

    // Never called. It keeps the places of the operations below.
    virtual void onReserved() {}

    // The answer to sendTimeDateInquiry. `timeDate` is never null.
    virtual void onTimeDateResponse(const ZRMirvoTimeDate* timeDate) = 0;

    // A HID report descriptor of `length` bytes. With a length of 0 there are no bytes behind
    // `data`, which may then be null.
    virtual void onHidReportDescriptor(unsigned char* data, unsigned int length) = 0;

    // A HID event of `length` bytes; `data` as for onHidReportDescriptor.
    virtual void onHidEvent(unsigned char* data, unsigned int length) = 0;

    // The accessory answered a request without further data.
    virtual void onDeviceResponse() = 0;

protected:
    ~ZRMirvoCallback() = default;
};

}  // namespace zrmirvo

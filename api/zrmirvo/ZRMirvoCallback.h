#pragma once

// How an application receives events, and how it stops receiving them.
//
// Three operations end deliveries: UnregisterCallback, ReleaseMirvoInstance and
// ZRMirvoManager::ReleaseInstance.
//
// - On an application thread they wait. When one of them returns, nothing of what it names is
//   running on any other thread or will run: neither its callbacks nor what the library does about
//   the errors of an accessory (see ZRMirvo.h). Callback objects may then be destroyed. Callbacks
//   determine how long this takes. An error takes at most the request timeout of the service
//   framework; where the framework serves the requests of one client one after another, that is one
//   timeout for each error that had begun.
// - Inside any callback of this library, for whatever object, they take effect at once and never
//   wait: a callback may unregister itself or another one, release its own instance, and release
//   the manager. What has been ended there may still be running on another thread, and its callback
//   objects must not be destroyed yet. The same call once more on an application thread waits for
//   that. UnregisterCallback waits for a callback that is no longer registered.
//   ReleaseMirvoInstance(nullptr) waits for all instances of its manager that have been released. A
//   second ReleaseInstance is refused, but waits first; ZRMirvoManager.h says more about it.
//
// Hold no lock around these calls that any callback of this library takes. The call waits for the
// callback, and the callback for the lock:
//
//     std::lock_guard guard(mLock);             // WRONG: onAttach takes mLock, too,
//     mManager->UnregisterCallback(this);       // and both wait for ever
//
//     mManager->UnregisterCallback(this);       // RIGHT: wait first,
//     std::lock_guard guard(mLock);             // and take the lock afterwards
//
// For the same reason no callback may wait for a thread that is inside one of these calls:
//
//     void onError() override {
//         mApplicationThread.join();            // WRONG: that thread is just releasing the manager
//     }
//
//     void onError() override {
//         mQueue.push(Lost{});                  // RIGHT: tell the thread, and return
//     }

namespace zrmirvo {

// Receives the events of the service as a whole.
//
// An event that comes before RegisterCallback is told to nobody. So register first, call startup()
// then, and ask for the accessories that are already there with getIds() last. An accessory that is
// attached meanwhile comes in both ways: ignore it the second time.
//
// Threads: every operation runs on a delivery thread, which is a thread of the service framework.
// Over the stand-in the events of one manager come one at a time. Another framework may deliver two
// at once, so protect what the callbacks share. From inside a callback every operation of this
// library may be called. A callback that blocks holds back later events, over the stand-in those of
// its own manager only. It must not throw: an exception would leave through the service framework,
// which does not expect any.
//
// Ownership: the application owns the object. The library keeps a plain pointer to it, from
// RegisterCallback until UnregisterCallback, or the release of the manager, has returned on an
// application thread.
class ZRMirvoManagerCallback {
public:
    // The service is lost: its process has ended, or the connection to it. That is the only reason
    // for this event. Every operation of the manager fails from then on, and nothing connects it
    // again: release the manager and obtain it anew.
    virtual void onError() = 0;

    // The accessory `accessoryId` has been attached. GetMirvoInstance makes an instance for it.
    virtual void onAttach(unsigned int accessoryId) = 0;

    // The accessory `accessoryId` has been detached. Its instances are not released by that:
    // release them here or later.
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

#pragma once

#include <utils/RefBase.h>
#include <zrmirvo/ZRMirvoCallback.h>

#include "accessory/MirvoManagerNotifier.h"
#include "accessory/MirvoNotifier.h"
#include "api/CallbackList.h"
#include "api/ManagerLink.h"

namespace zrmirvo {

using android::sp;

// Hands the events of the service to the application's callbacks.
class ZRMirvoManagerNotifier final : public accessory::MirvoManagerNotifier {
public:
    ZRMirvoManagerNotifier();

    void error(int errorCode) override;
    void attach(unsigned int accessoryId) override;
    void detach(unsigned int accessoryId) override;

    // Returns false when the manager is being released.
    bool setCallbackObject(ZRMirvoManagerCallback* cb);
    void unsetCallbackObject(ZRMirvoManagerCallback* cb);
    // No callback is called any more.
    void close() { mCallbacks.close(); }
    // Waits for the deliveries that are still running, as CallbackList::drain does.
    void drain() { mCallbacks.drain(); }
    // Whether no delivery is under way.
    bool idle() { return mCallbacks.idle(); }

private:
    CallbackList<ZRMirvoManagerCallback> mCallbacks;
};

// Hands the events of one accessory to the application's callbacks, and disconnects when an error
// is beyond repair.
class ZRMirvoNotifier final : public accessory::MirvoNotifier {
public:
    // `mvMgr` is not null. If it is, that is reported, and error events only log.
    explicit ZRMirvoNotifier(const sp<ManagerLink>& mvMgr);

    void runningStateChange(int state) override;
    void controlUnavailable() override;
    void screenOrientationChange(int orientation) override;
    void deviceRequest(MVDeviceRequest& request) override;
    void deviceResponse(MVDeviceResponse& response) override;
    void hidReportDescriptor(unsigned char* data, unsigned int length) override;
    void hidEvent(unsigned char* data, unsigned int length) override;
    void errorEvent(int code) override;

    // Returns false when the instance is being released.
    bool setCallbackObject(ZRMirvoCallback* cb);
    void unsetCallbackObject(ZRMirvoCallback* cb);
    // No callback is called any more, and errors only log.
    void close() { mCallbacks.close(); }
    // Waits for the deliveries that are still running, errors included, as CallbackList::drain
    // does.
    void drain() { mCallbacks.drain(); }
    // Whether no delivery is under way.
    bool idle() { return mCallbacks.idle(); }

private:
    void disconnect();

    const sp<ManagerLink> mManager;
    CallbackList<ZRMirvoCallback> mCallbacks;
};

}  // namespace zrmirvo

#pragma once

#include <utils/RefBase.h>

#include "protocol/MVDeviceRecords.h"

namespace accessory {

// Receives the events of one accessory from its Mirvo handle.
//
// Threads: delivery thread. A framework may deliver two events at once. Every operation of this
// library may be called from inside, and the handle may be released there. Nothing may be thrown.
//
// Ownership: the handle holds the notifier through an sp<>, from a successful setNotifier until it
// is replaced or the handle is gone. Every reference and pointer is valid during the call only.
class MirvoNotifier : public virtual android::RefBase {
public:
    ~MirvoNotifier() override = default;

    virtual void runningStateChange(int state) = 0;
    virtual void controlUnavailable() = 0;
    virtual void screenOrientationChange(int orientation) = 0;
    // A request of type 1 has a `dataLength` of 0 to 36.
    virtual void deviceRequest(MVDeviceRequest& request) = 0;
    virtual void deviceResponse(MVDeviceResponse& response) = 0;
    // With a `length` of 0 there are no bytes behind `data`.
    virtual void hidReportDescriptor(unsigned char* data, unsigned int length) = 0;
    virtual void hidEvent(unsigned char* data, unsigned int length) = 0;
    virtual void errorEvent(int code) = 0;
};

}  // namespace accessory

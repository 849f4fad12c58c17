#pragma once

#include "accessory/Mirvo.h"
#include "protocol/ServiceFramework.h"

namespace accessory {

class MVNotifyListener;

// The handle of one accessory. Binds a client of its own and turns every operation into one
// request.
//
// Threads, ownership, results: as Mirvo says. Without a service at construction every operation
// fails; the loss of the service later does the same, through requests without a reply.
class __attribute__((visibility("default"))) MirvoImpl : public Mirvo {
public:
    // Binds to the service and begins to listen, which blocks for at most the request timeout.
    explicit MirvoImpl(unsigned int accessoryId);

    int setNotifier(const sp<MirvoNotifier>& notifier) override;
    int setFeature(unsigned int feature, void* data, unsigned int size) override;
    int sendTouchEvent(MVTouchEvent* event) override;
    int sendKeyEvent(unsigned int keyCode, bool flag) override;
    int sendCalibrateEvent() override;
    int cookTouchEvent(MVTouchEvent* event, unsigned char** out, int* length) override;
    int cookKeyEvent(unsigned int keyCode, bool flag, unsigned char** out, int* length) override;
    int cookCalibrateEvent(unsigned char** out, int* length) override;
    int sendForceLandscape(bool flag) override;
    int sendVideoFocus(int focus, bool flag) override;
    int sendOnReadyForPairing(bool flag) override;
    int sendTimeDateInquiry() override;
    int sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                 int value5) override;
    ~MirvoImpl() override;

private:
    friend class MVNotifyListener;

    const unsigned int mAccessoryId;
    // Never changes between constructor and destructor.
    sp<ServiceClient> mServiceClient;
    // The listener's lock guards this.
    sp<MirvoNotifier> mNotifier;
    sp<MVNotifyListener> mListener;
};

}  // namespace accessory

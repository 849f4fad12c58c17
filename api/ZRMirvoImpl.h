#pragma once

#include <utils/RefBase.h>
#include <zrmirvo/ZRMirvo.h>

#include "accessory/Mirvo.h"
#include "api/ZRMirvoNotifier.h"

namespace zrmirvo {

// One accessory as the application sees it: a device handle with its notifier. It stays in the
// manager's table for as long as the application may use it. An operation that is under way holds
// what it needs itself.
class ZRMirvoImpl final : public ZRMirvo, public virtual android::RefBase {
public:
    // Attaches the device handle and makes a notifier for it.
    void SetInstance(const sp<accessory::Mirvo>& mirvo, const sp<ManagerLink>& manager);

    // Asks the service to send events to the notifier, and returns its status. An instance for
    // which the service refuses that works, but receives no events.
    int listen();

    const sp<ZRMirvoNotifier>& notifier() const { return mNotifier; }

    bool RegisterCallback(ZRMirvoCallback* cb) override;
    void UnregisterCallback(ZRMirvoCallback* cb) override;
    int sendTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                       const unsigned int* array2, const unsigned int* array3, int action,
                       int extra) override;
    int sendKeyEvent(unsigned int keyCode, bool flag) override;
    int sendCalibrateEvent() override;
    int cookTouchEvent(unsigned long long time, int count, const unsigned int* array1,
                       const unsigned int* array2, const unsigned int* array3, int action,
                       int extra, char** out, int* length) override;
    int cookKeyEvent(unsigned int keyCode, bool flag, char** out, int* length) override;
    int cookCalibrateEvent(char** out, int* length) override;
    int sendForceLandscape(bool flag) override;
    int sendVideoFocus(int focus, bool flag) override;
    int sendOnReadyForPairing(bool flag) override;
    int sendTimeDateInquiry() override;
    int sendDisplayConfiguration(int value1, int value2, int value3, int value4,
                                 int value5) override;
    int setFeature(unsigned int feature, void* data, unsigned int size) override;
    ~ZRMirvoImpl() override = default;

private:
    template <typename Call>
    int forward(const char* function, Call call);

    // The notifier is declared last, because it goes first.
    sp<accessory::Mirvo> mMirvo;
    sp<ZRMirvoNotifier> mNotifier;
};

}  // namespace zrmirvo

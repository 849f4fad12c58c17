#include <gtest/gtest.h>
#include <zrmirvo/ZRMirvoManager.h>

#include "tests/support/SlotOf.h"

// The places of the virtual operations, which applications are built against, as lists typed in by
// hand.

namespace zrmirvo {
namespace {

using testing_support::numbered;
using testing_support::slotsOf;

TEST(SlotOrder, ofTheManager) {
    using M = ZRMirvoManager;
    // Behind the two slots of the destructor.
    EXPECT_EQ(slotsOf(&M::RegisterCallback, &M::UnregisterCallback, &M::startup, &M::shutdown,
                      &M::setConfigFile, &M::getIds, &M::GetMirvoInstance, &M::ReleaseMirvoInstance,
                      &M::setBluetoothConfig, &M::getHidDescriptor, &M::connect, &M::disconnect),
              numbered(2, 12));
}

TEST(SlotOrder, ofAnInstance) {
    using I = ZRMirvo;
    EXPECT_EQ(
        slotsOf(&I::RegisterCallback, &I::UnregisterCallback, &I::sendTouchEvent, &I::sendKeyEvent,
                &I::sendCalibrateEvent, &I::cookTouchEvent, &I::cookKeyEvent,
                &I::cookCalibrateEvent, &I::sendAppTouchEvent, &I::sendAppKeyEvent,
                &I::sendForceLandscape, &I::sendVideoFocus, &I::sendOnReadyForPairing,
                &I::sendTimeDateInquiry, &I::sendDisplayConfiguration, &I::setFeature),
        numbered(0, 16));
}

TEST(SlotOrder, ofTheCallbacks) {
    using M = ZRMirvoManagerCallback;
    using C = ZRMirvoCallback;
    EXPECT_EQ(slotsOf(&M::onError, &M::onAttach, &M::onDetach), numbered(0, 3));
    EXPECT_EQ(slotsOf(&C::onRunningStateChange, &C::onControlUnavailable, &C::onDeviceRequestData,
                      &C::onDeviceRequest, &C::onScreenOrientationChange, &C::onReserved,
                      &C::onTimeDateResponse, &C::onHidReportDescriptor, &C::onHidEvent,
                      &C::onDeviceResponse),
              numbered(0, 10));
}

// As the application of an older library would have written it: only what is pure.
class OldInstance final : public ZRMirvo {
public:
    using Values = const unsigned int*;
    bool RegisterCallback(ZRMirvoCallback*) override { return true; }
    void UnregisterCallback(ZRMirvoCallback*) override {}
    int sendTouchEvent(unsigned long long, int, Values, Values, Values, int, int) override {
        return 1;
    }
    int sendKeyEvent(unsigned int, bool) override { return 1; }
    int sendCalibrateEvent() override { return 1; }
    int cookTouchEvent(unsigned long long, int, Values, Values, Values, int, int, char**,
                       int*) override {
        return 1;
    }
    int cookKeyEvent(unsigned int, bool, char**, int*) override { return 1; }
    int cookCalibrateEvent(char**, int*) override { return 1; }
    int sendForceLandscape(bool) override { return 1; }
    int sendVideoFocus(int, bool) override { return 1; }
    int sendOnReadyForPairing(bool) override { return 1; }
};

TEST(SlotOrder, leavesTheRestToTheInterface) {
    OldInstance old;
    ZRMirvo& instance = old;
    EXPECT_EQ(instance.sendAppTouchEvent(1, 0, nullptr, nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(instance.sendAppKeyEvent(4, true), 0);
    EXPECT_EQ(instance.sendTimeDateInquiry(), 0);
    EXPECT_EQ(instance.sendDisplayConfiguration(1, 2, 3, 4, 5), 0);
    EXPECT_EQ(instance.setFeature(1, nullptr, 0), 0);
}

}  // namespace
}  // namespace zrmirvo

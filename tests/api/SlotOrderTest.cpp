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

}  // namespace
}  // namespace zrmirvo

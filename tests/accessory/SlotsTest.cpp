#include <gtest/gtest.h>

#include "accessory/MirvoManager.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ServiceFramework.h"
#include "tests/support/SlotOf.h"

// The framework, and whoever implements a notifier, was built against these places.

namespace accessory {
namespace {

using testing_support::slotOf;

// Shows by its place how many slots there are before it, destructors included.
struct AfterMirvo : Mirvo {
    virtual void after() = 0;
};

// A destructor takes two slots, 0 and 1 where it stands first.
TEST(Slots, AreTheOnesThatOthersWereBuiltAgainst) {
    EXPECT_EQ(slotOf(&SerializationBase::serialization), 2u);
    EXPECT_EQ(slotOf(&SerializationBase::deserialization), 3u);
    EXPECT_EQ(slotOf(&ServiceItem::type), 4u);
    EXPECT_EQ(slotOf(&ServiceNotify::type), 4u);
    EXPECT_EQ(slotOf(&ServiceReply::type), 4u);
    EXPECT_EQ(slotOf(&MVSItemAccessoryBase::accessoryId), 5u);
    EXPECT_EQ(slotOf(&MVSNotifyAccessoryBase::accessoryId), 5u);

    EXPECT_EQ(slotOf(&ServiceNotifyListener::onNotify), 2u);
    EXPECT_EQ(slotOf(&ServiceInfo::servicename), 2u);
    EXPECT_EQ(slotOf(&ServiceInfo::protocol), 3u);
    EXPECT_EQ(slotOf(&ServiceProtocol::notifyFactory), 2u);
    EXPECT_EQ(slotOf(&ServiceProtocol::itemFactory), 3u);
    EXPECT_EQ(slotOf(&ServiceProtocol::replyFactory), 4u);
    EXPECT_EQ(slotOf(&ServiceNotifyFactory::create), 2u);
    EXPECT_EQ(slotOf(&ServiceItemFactory::create), 2u);
    EXPECT_EQ(slotOf(&ServiceReplyFactory::create), 2u);

    EXPECT_EQ(slotOf(&ServiceClient::request), 2u);
    EXPECT_EQ(slotOf(&ServiceClient::setNotifyListener), 3u);
    EXPECT_EQ(slotOf(&ServiceClient::removeNotifyListener), 4u);
    EXPECT_EQ(slotOf(&SerializationContent::writeBuffer), 2u);
    EXPECT_EQ(slotOf(&SerializationContent::writeInt32), 3u);
    EXPECT_EQ(slotOf(&SerializationContent::writeInt64), 4u);
    EXPECT_EQ(slotOf(&SerializationContent::writeCString), 7u);
    EXPECT_EQ(slotOf(&DeserializationContent::readBuffer), 2u);
    EXPECT_EQ(slotOf(&DeserializationContent::readInt32), 3u);
    EXPECT_EQ(slotOf(&DeserializationContent::readInt64), 4u);
    EXPECT_EQ(slotOf(&DeserializationContent::readCString), 7u);

    EXPECT_EQ(slotOf(&MirvoManagerNotifier::error), 2u);
    EXPECT_EQ(slotOf(&MirvoManagerNotifier::attach), 3u);
    EXPECT_EQ(slotOf(&MirvoManagerNotifier::detach), 4u);
    EXPECT_EQ(slotOf(&MirvoManagerNotifier::videoEstablished), 5u);

    EXPECT_EQ(slotOf(&MirvoNotifier::runningStateChange), 2u);
    EXPECT_EQ(slotOf(&MirvoNotifier::controlUnavailable), 3u);
    EXPECT_EQ(slotOf(&MirvoNotifier::screenOrientationChange), 4u);
    EXPECT_EQ(slotOf(&MirvoNotifier::deviceRequest), 5u);
    EXPECT_EQ(slotOf(&MirvoNotifier::deviceResponse), 6u);
    EXPECT_EQ(slotOf(&MirvoNotifier::hidReportDescriptor), 7u);
    EXPECT_EQ(slotOf(&MirvoNotifier::hidEvent), 8u);
    EXPECT_EQ(slotOf(&MirvoNotifier::errorEvent), 9u);

    EXPECT_EQ(slotOf(&Mirvo::setNotifier), 0u);
    EXPECT_EQ(slotOf(&Mirvo::setFeature), 1u);
    EXPECT_EQ(slotOf(&Mirvo::sendTouchEvent), 2u);
    EXPECT_EQ(slotOf(&Mirvo::sendKeyEvent), 3u);
    EXPECT_EQ(slotOf(&Mirvo::sendCalibrateEvent), 4u);
    EXPECT_EQ(slotOf(&Mirvo::cookTouchEvent), 5u);
    EXPECT_EQ(slotOf(&Mirvo::cookKeyEvent), 6u);
    EXPECT_EQ(slotOf(&Mirvo::cookCalibrateEvent), 7u);
    EXPECT_EQ(slotOf(&Mirvo::sendForceLandscape), 8u);
    EXPECT_EQ(slotOf(&Mirvo::sendVideoFocus), 9u);
    EXPECT_EQ(slotOf(&Mirvo::sendOnReadyForPairing), 10u);
    EXPECT_EQ(slotOf(&Mirvo::sendTimeDateInquiry), 11u);
    EXPECT_EQ(slotOf(&Mirvo::sendDisplayConfiguration), 12u);
    EXPECT_EQ(slotOf(&AfterMirvo::after), 15u);

    EXPECT_EQ(slotOf(&MVEvent::getEventType), 2u);
    EXPECT_EQ(slotOf(&MVTouchEvent::getEventType), 2u);
}

}  // namespace
}  // namespace accessory

#include <gtest/gtest.h>

#include "accessory/MirvoManager.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ServiceFramework.h"
#include "tests/support/SlotOf.h"

// The framework, and whoever implements a notifier, was built against these places.

namespace accessory {
namespace {

using testing_support::numbered;
using testing_support::slotOf;
using testing_support::slotsOf;

// Shows by its place how many slots there are before it, destructors included.
struct AfterMirvo : Mirvo {
    virtual void after() = 0;
};

// A destructor takes two slots, 0 and 1 where it stands first.
TEST(Slots, AreTheOnesThatOthersWereBuiltAgainst) {
    using Base = SerializationBase;
    EXPECT_EQ(slotsOf(&Base::serialization, &Base::deserialization, &ServiceItem::type,
                      &MVSItemAccessoryBase::accessoryId),
              numbered(2, 4));
    EXPECT_EQ(slotsOf(&ServiceNotify::type, &MVSNotifyAccessoryBase::accessoryId), numbered(4, 2));
    EXPECT_EQ(slotOf(&ServiceReply::type), 4u);

    using Client = ServiceClient;
    using Protocol = ServiceProtocol;
    EXPECT_EQ(slotsOf(&ServiceInfo::servicename, &ServiceInfo::protocol), numbered(2, 2));
    EXPECT_EQ(slotsOf(&Protocol::notifyFactory, &Protocol::itemFactory, &Protocol::replyFactory),
              numbered(2, 3));
    EXPECT_EQ(slotsOf(&ServiceNotifyFactory::create, &ServiceItemFactory::create,
                      &ServiceReplyFactory::create, &ServiceNotifyListener::onNotify),
              std::vector<size_t>(4, 2));
    EXPECT_EQ(slotsOf(&Client::request, &Client::setNotifyListener, &Client::removeNotifyListener),
              numbered(2, 3));

    using Out = SerializationContent;
    using In = DeserializationContent;
    EXPECT_EQ(slotsOf(&Out::writeBuffer, &Out::writeInt32, &Out::writeInt64, &Out::reserved1,
                      &Out::reserved2, &Out::writeCString),
              numbered(2, 6));
    EXPECT_EQ(slotsOf(&In::readBuffer, &In::readInt32, &In::readInt64, &In::reserved1,
                      &In::reserved2, &In::readCString),
              numbered(2, 6));

    using Manager = MirvoManagerNotifier;
    using Device = MirvoNotifier;
    EXPECT_EQ(
        slotsOf(&Manager::error, &Manager::attach, &Manager::detach, &Manager::videoEstablished),
        numbered(2, 4));
    EXPECT_EQ(
        slotsOf(&Device::runningStateChange, &Device::controlUnavailable,
                &Device::screenOrientationChange, &Device::deviceRequest, &Device::deviceResponse,
                &Device::hidReportDescriptor, &Device::hidEvent, &Device::errorEvent),
        numbered(2, 8));
    using M = Mirvo;
    EXPECT_EQ(
        slotsOf(&M::setNotifier, &M::setFeature, &M::sendTouchEvent, &M::sendKeyEvent,
                &M::sendCalibrateEvent, &M::cookTouchEvent, &M::cookKeyEvent,
                &M::cookCalibrateEvent, &M::sendForceLandscape, &M::sendVideoFocus,
                &M::sendOnReadyForPairing, &M::sendTimeDateInquiry, &M::sendDisplayConfiguration),
        numbered(0, 13));
    EXPECT_EQ(slotOf(&AfterMirvo::after), 15u);
    EXPECT_EQ(slotsOf(&MVEvent::getEventType, &MVTouchEvent::getEventType),
              std::vector<size_t>(2, 2));
}

}  // namespace
}  // namespace accessory

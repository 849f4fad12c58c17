#include <gtest/gtest.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

#include "accessory/MirvoManager.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ServiceFramework.h"

// The places of the virtual operations, which the framework and the applications were built
// against, as lists typed in by hand. A destructor takes two, 0 and 1 where it stands first.

namespace accessory {
namespace {

// A pointer to a virtual member is two words: the operation's offset in the table and an
// adjustment; one bit, in the one or the other as the architecture has it, says that it is virtual.
template <typename Operation>
size_t slotOf(Operation operation) {
    size_t words[2];
    static_assert(sizeof(words) == sizeof(operation));
    memcpy(words, &operation, sizeof(words));
#ifdef __aarch64__
    EXPECT_EQ(words[1], 1u);
#else
    EXPECT_EQ(words[1], 0u);
    EXPECT_EQ(words[0] % sizeof(void*), 1u);
#endif
    return words[0] / sizeof(void*);
}

template <typename... Operations>
void expectFrom(size_t first, Operations... operations) {
    const std::vector<size_t> slots = {slotOf(operations)...};
    std::vector<size_t> expected(slots.size());
    std::iota(expected.begin(), expected.end(), first);
    EXPECT_EQ(slots, expected);
}

TEST(Slots, ofTheFramework) {
    using Base = SerializationBase;
    expectFrom(2, &Base::serialization, &Base::deserialization, &ServiceItem::type,
               &MVSItemAccessoryBase::accessoryId);
    expectFrom(4, &ServiceNotify::type, &MVSNotifyAccessoryBase::accessoryId);
    expectFrom(4, &ServiceReply::type);
    using Client = ServiceClient;
    using Protocol = ServiceProtocol;
    expectFrom(2, &ServiceInfo::servicename, &ServiceInfo::protocol);
    expectFrom(2, &Protocol::notifyFactory, &Protocol::itemFactory, &Protocol::replyFactory);
    expectFrom(2, &ServiceNotifyFactory::create);
    expectFrom(2, &ServiceItemFactory::create);
    expectFrom(2, &ServiceReplyFactory::create);
    expectFrom(2, &ServiceNotifyListener::onNotify);
    expectFrom(2, &Client::request, &Client::setNotifyListener, &Client::removeNotifyListener);
    using Out = SerializationContent;
    expectFrom(2, &Out::writeBuffer, &Out::writeInt32, &Out::writeInt64, &Out::reserved1,
               &Out::reserved2, &Out::writeCString);
    using In = DeserializationContent;
    expectFrom(2, &In::readBuffer, &In::readInt32, &In::readInt64, &In::reserved1, &In::reserved2,
               &In::readCString);
}

// Shows by its place how many slots there are before it.
struct AfterMirvo : Mirvo {
    virtual void after() = 0;
};

TEST(Slots, ofTheProxies) {
    using Manager = MirvoManagerNotifier;
    expectFrom(2, &Manager::error, &Manager::attach, &Manager::detach, &Manager::videoEstablished);
    using Device = MirvoNotifier;
    expectFrom(2, &Device::runningStateChange, &Device::controlUnavailable,
               &Device::screenOrientationChange, &Device::deviceRequest, &Device::deviceResponse,
               &Device::hidReportDescriptor, &Device::hidEvent, &Device::errorEvent);
    using M = Mirvo;
    expectFrom(0, &M::setNotifier, &M::setFeature, &M::sendTouchEvent, &M::sendKeyEvent,
               &M::sendCalibrateEvent, &M::cookTouchEvent, &M::cookKeyEvent, &M::cookCalibrateEvent,
               &M::sendForceLandscape, &M::sendVideoFocus, &M::sendOnReadyForPairing,
               &M::sendTimeDateInquiry, &M::sendDisplayConfiguration);
    expectFrom(15, &AfterMirvo::after);
    expectFrom(2, &MVEvent::getEventType);
    expectFrom(2, &MVTouchEvent::getEventType);
}

TEST(Slots, ofTheFacade) {
    using M = zrmirvo::ZRMirvoManager;
    expectFrom(2, &M::RegisterCallback, &M::UnregisterCallback, &M::startup, &M::shutdown,
               &M::setConfigFile, &M::getIds, &M::GetMirvoInstance, &M::ReleaseMirvoInstance,
               &M::setBluetoothConfig, &M::getHidDescriptor, &M::connect, &M::disconnect);
    using I = zrmirvo::ZRMirvo;
    expectFrom(0, &I::RegisterCallback, &I::UnregisterCallback, &I::sendTouchEvent,
               &I::sendKeyEvent, &I::sendCalibrateEvent, &I::cookTouchEvent, &I::cookKeyEvent,
               &I::cookCalibrateEvent, &I::sendAppTouchEvent, &I::sendAppKeyEvent,
               &I::sendForceLandscape, &I::sendVideoFocus, &I::sendOnReadyForPairing,
               &I::sendTimeDateInquiry, &I::sendDisplayConfiguration, &I::setFeature);
    using N = zrmirvo::ZRMirvoManagerCallback;
    expectFrom(0, &N::onError, &N::onAttach, &N::onDetach);
    using C = zrmirvo::ZRMirvoCallback;
    expectFrom(0, &C::onRunningStateChange, &C::onControlUnavailable, &C::onDeviceRequestData,
               &C::onDeviceRequest, &C::onScreenOrientationChange, &C::onReserved,
               &C::onTimeDateResponse, &C::onHidReportDescriptor, &C::onHidEvent,
               &C::onDeviceResponse);
}

}  // namespace
}  // namespace accessory

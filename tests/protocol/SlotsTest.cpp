#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

#include "protocol/AccessoryMessages.h"
#include "protocol/ServiceFramework.h"

// The slots of the virtual operations that another framework was built against, as lists typed in
// by hand. A destructor takes slots 0 and 1. The slots of what applications use are in the
// baselines of scripts/checks/abi.

namespace accessory {
namespace {

// A pointer to a virtual member has two words: the operation's offset in the table and an
// adjustment. One bit says that the member is virtual; it is in the first or the second word,
// depending on the architecture.
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

TEST(Slots, areThoseOfTheFramework) {
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

}  // namespace
}  // namespace accessory

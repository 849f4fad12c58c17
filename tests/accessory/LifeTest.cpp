#include <gtest/gtest.h>

#include <thread>

#include "accessory/MirvoImpl.h"
#include "tests/accessory/ProxyTest.h"
#include "tests/support/Signal.h"

// When a proxy comes and goes, and what may happen meanwhile: the same for both.

namespace accessory {
namespace {

using testing_support::Signal;

struct Manager {
    using Proxy = MirvoManager;
    using Notifier = ManagerNotifier;
    static constexpr const char* kTag = "MirvoManager[c]";
    static constexpr const char* kClass = "MirvoManagerImpl";
    static constexpr const char* kNotification = "-1: 2";
    static constexpr const char* kCall = "error 1";

    static sp<Proxy> make() { return new MirvoManager; }
    static int request(Proxy& proxy, const sp<Notifier>&) { return proxy.startup(); }
};

struct Device {
    using Proxy = Mirvo;
    using Notifier = DeviceNotifier;
    static constexpr const char* kTag = "Mirvo[c]";
    static constexpr const char* kClass = "MirvoImpl";
    static constexpr const char* kNotification = "134: 7, 4, 1, {0a}";
    static constexpr const char* kCall = "hidEvent {0a}";

    static sp<Proxy> make() { return new MirvoImpl(7); }
    // Of all operations this is the one that has something to do after the reply.
    static int request(Proxy& proxy, const sp<Notifier>& notifier) {
        return proxy.setNotifier(notifier);
    }
};

template <typename Side>
class LifeTest : public ProxyTest {
protected:
    using Notifier = typename Side::Notifier;

    sp<Notifier> notifier() { return new Notifier(framework); }

    sp<typename Side::Proxy> proxy = Side::make();
};

using Sides = testing::Types<Manager, Device>;
TYPED_TEST_SUITE(LifeTest, Sides);

TYPED_TEST(LifeTest, ListensFromConstructionToDestruction) {
    const std::string name = TypeParam::kClass;
    const std::string tag = TypeParam::kTag;
    EXPECT_EQ(this->log.take(tag), traced(tag, name));
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"0 bind mirvo.accessory.manager", "0 listen"}));
    this->proxy.clear();
    EXPECT_EQ(this->log.take(tag), traced(tag, "~" + name));
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"0 unlisten", "0 release"}));
    this->unbound(TypeParam::make);
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"1 bind mirvo.accessory.manager", "1 refused"}));
}

TYPED_TEST(LifeTest, MayEndInsideItsNotifier) {
    const auto releasing = this->notifier();
    releasing->during = [&] {
        EXPECT_EQ(this->proxy->setNotifier(this->notifier()), 0);
        EXPECT_TRUE(this->framework.notify(0, "130: 0, 5"));
        this->framework.takeEvents();
        this->framework.record(TypeParam::kCall);
        this->proxy.clear();
    };
    EXPECT_EQ(this->proxy->setNotifier(releasing), 0);
    EXPECT_EQ(this->eventsOf(TypeParam::kNotification),
              (Lines{TypeParam::kCall, "0 unlisten", "0 release"}));
}

TYPED_TEST(LifeTest, HoldsNoLockWhileANotifierDies) {
    bool died = false;
    auto dying = this->notifier();
    dying->gone = [&] {
        EXPECT_EQ(this->proxy->setNotifier(this->notifier()), 0);
        died = true;
    };
    this->proxy->setNotifier(dying);
    dying.clear();
    this->proxy->setNotifier(this->notifier());
    EXPECT_TRUE(died);
}

TYPED_TEST(LifeTest, IsNotNeededByAnOperationThatIsUnderWay) {
    Signal asked;
    Signal released;
    this->framework.onRequest([&](const std::string&) {
        asked.set();
        EXPECT_TRUE(released.wait());
        return this->reply(129);
    });
    std::thread caller(
        [&, raw = this->proxy.get()] { EXPECT_EQ(TypeParam::request(*raw, this->notifier()), 0); });
    ASSERT_TRUE(asked.wait());
    this->eventsOf(TypeParam::kNotification);  // Does not wait for the request.
    this->proxy.clear();
    released.set();
    caller.join();
}

TYPED_TEST(LifeTest, HearsNothingOnceItIsOver) {
    this->proxy->setNotifier(this->notifier());
    const auto listener = this->framework.listener(0);
    auto notification = this->framework.notification(0, TypeParam::kNotification);
    this->proxy.clear();
    this->framework.takeEvents();
    this->log.take();
    listener->onNotify(notification);
    EXPECT_EQ(this->log.take(), traced(TypeParam::kTag, "onNotify"));
    EXPECT_EQ(this->framework.takeEvents(), Lines());
}

}  // namespace
}  // namespace accessory

#include <gtest/gtest.h>

#include "tests/accessory/ProxyTest.h"
#include "tests/support/Task.h"

// When a proxy comes and goes, and what may happen meanwhile: the same for both.

namespace accessory {
namespace {

using testing_support::Gate;
using testing_support::Task;

template <typename Side>
using LifeTest = ProxyTest<Side>;
TYPED_TEST_SUITE(LifeTest, Sides);

TYPED_TEST(LifeTest, listensFromConstructionToDestruction) {
    const std::string name = TypeParam::kClass;
    EXPECT_EQ(this->log.take(this->tag), traced(this->tag, name));
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"0 bind mirvo.accessory.manager", "0 listen"}));
    this->proxy.clear();
    EXPECT_EQ(this->log.take(this->tag), traced(this->tag, "~" + name));
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"0 unlisten", "0 release"}));
    this->unbound(TypeParam::make);
    EXPECT_EQ(this->framework.takeEvents(), (Lines{"1 bind mirvo.accessory.manager", "1 refused"}));
}

TYPED_TEST(LifeTest, mayEndInsideItsNotifier) {
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

TYPED_TEST(LifeTest, holdsNoLockWhileANotifierDies) {
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

TYPED_TEST(LifeTest, isNotNeededByAnOperationThatIsUnderWay) {
    Gate gate;
    this->framework.onRequest([&](const std::string&) {
        EXPECT_TRUE(gate.pass());
        return this->reply(129);
    });
    Task caller(
        [&, raw = this->proxy.get()] { EXPECT_EQ(TypeParam::request(*raw, this->notifier()), 0); });
    ASSERT_TRUE(gate.isReached());
    this->eventsOf(TypeParam::kNotification);  // Does not wait for the request.
    this->proxy.clear();
    gate.open();
}

TYPED_TEST(LifeTest, mayEndWhileItInstallsANotifier) {
    auto* const raw = this->proxy.get();
    this->log.onLine([&](const std::string&) { this->proxy.clear(); });
    EXPECT_EQ(raw->setNotifier(this->notifier()), 0);
    this->log.onLine(nullptr);
}

TYPED_TEST(LifeTest, hearsNothingOnceItIsOver) {
    this->proxy->setNotifier(this->notifier());
    const auto listener = this->framework.listener(0);
    for (const char* message : {TypeParam::kNotification, "null"}) {
        auto notification = this->framework.notification(0, message);
        this->proxy.clear();
        this->framework.takeEvents();
        this->log.take();
        listener->onNotify(notification);
        EXPECT_EQ(this->log.take(), traced(this->tag, "onNotify"));
        EXPECT_EQ(this->framework.takeEvents(), Lines());
    }
}

}  // namespace
}  // namespace accessory

#include "accessory/MirvoManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "tests/accessory/ProxyTest.h"
#include "tests/support/Signal.h"

namespace accessory {
namespace {

using testing_support::Signal;

const std::string kTag = "MirvoManager[c]";
constexpr unsigned int kUntouched = 99;

// Puts what it is told among the framework's events.
class RecordingNotifier : public MirvoManagerNotifier {
public:
    RecordingNotifier(testing_support::FakeFramework& framework, std::string name)
        : mFramework(framework), mName(std::move(name)) {}

    ~RecordingNotifier() override {
        if (gone) gone();
    }

    void error(int code) override { record("error", static_cast<unsigned int>(code)); }
    void attach(unsigned int id) override { record("attach", id); }
    void detach(unsigned int id) override { record("detach", id); }
    void videoEstablished(unsigned int id) override { record("videoEstablished", id); }

    // Run in every call, and when this goes.
    std::function<void()> during;
    std::function<void()> gone;

private:
    void record(const std::string& operation, unsigned int value) {
        mFramework.record(mName + " " + operation + "(" + std::to_string(value) + ")");
        if (during) during();
    }

    testing_support::FakeFramework& mFramework;
    const std::string mName;
};

class ManagerClientTest : public ProxyTest {
protected:
    sp<MirvoManager> makeUnbound() {
        framework.onBind([] { return false; });
        sp<MirvoManager> manager = new MirvoManager;
        framework.onBind(nullptr);
        return manager;
    }

    sp<MirvoManagerNotifier> notifier(const char* name = "notifier") {
        return new RecordingNotifier(framework, name);
    }

    // Delivers to the manager that was made first, and answers what came of it.
    Lines eventsOf(const char* notification) {
        framework.takeEvents();
        log.take();
        EXPECT_TRUE(framework.notify(0, notification));
        return framework.takeEvents();
    }

    // What an operation leaves in its count or length when it fails.
    unsigned int countAfterFailure() { return framework.requests().empty() ? kUntouched : 0; }

    int getIds(MirvoManager& manager) {
        unsigned int ids[] = {kUntouched, kUntouched, kUntouched};
        unsigned int count = kUntouched;
        const int result = manager.getIds(ids, &count);
        EXPECT_EQ(count, result == 0 ? 2 : countAfterFailure());
        EXPECT_EQ(ids[0], result == 0 ? 11 : kUntouched);
        EXPECT_EQ(ids[1], result == 0 ? 12 : kUntouched);
        EXPECT_EQ(ids[2], kUntouched);
        return result;
    }

    int getHidDescriptor(MirvoManager& manager) {
        int length = kUntouched;
        const int result = checkBytes(
            [&](unsigned char** out) { return manager.getHidDescriptor(out, &length); }, &length);
        EXPECT_EQ(static_cast<unsigned int>(length), result == 0 ? 2 : countAfterFailure());
        return result;
    }
};

MVBluetoothConfig bluetooth() {
    return {"speaker", 1234, 8};
}

TEST_F(ManagerClientTest, Operations) {
    using M = MirvoManager;
    using Op = Operation<MirvoManager>;
    unsigned int ids[10];
    unsigned int count;
    unsigned char* data;
    int length;
    const std::vector<Op> operations = {
        Op(
            "startup", [](M& m) { return m.startup(); }, R"(131: 1, -1, -1L, ".", 0)", 129),
        Op(
            "shutdown", [](M& m) { return m.shutdown(); }, R"(131: 2, -1, -1L, ".", 0)", 129),
        Op(
            "disconnect", [](M& m) { return m.disconnect("phone"); },
            R"(131: 3, -1, -1L, "phone", 0)", 129)
            .rejects({[](M& m) { return m.disconnect(nullptr); }}),
        Op(
            "setConfigFile", [](M& m) { return m.setConfigFile("/etc/a"); },
            R"(131: 4, -1, -1L, "/etc/a", 0)", 129)
            .rejects({[](M& m) { return m.setConfigFile(nullptr); }}),
        Op(
            "setBluetoothConfig",
            [](M& m) {
                MVBluetoothConfig config = bluetooth();
                return m.setBluetoothConfig(&config);
            },
            R"(131: 5, 8, -1L, "speaker", 0)", 129)
            .rejects({[](M& m) { return m.setBluetoothConfig(nullptr); }}),
        Op(
            "getMirvo", [](M& m) { return m.getMirvo(0xfffffff9) == nullptr ? 1 : 0; },
            R"(131: 6, -7, -1L, ".", 0)", 129)
            .whenRefused(1, "failed to get Mirvo device.\n"),
        Op(
            "getIds", [&](M& m) { return getIds(m); }, R"(131: 7, -1, -1L, ".", 0)", 130)
            .whenRefused(0)
            .rejects({[&](M& m) { return m.getIds(nullptr, &count); },
                      [&](M& m) { return m.getIds(ids, nullptr); }}),
        Op(
            "getHidDescriptor", [&](M& m) { return getHidDescriptor(m); },
            R"(131: 8, -1, -1L, ".", 0)", 131)
            .whenRefused(0)
            .rejects({[&](M& m) { return m.getHidDescriptor(nullptr, &length); },
                      [&](M& m) { return m.getHidDescriptor(&data, nullptr); }}),
        Op(
            "connect", [](M& m) { return m.connect("phone"); }, R"(131: 9, -1, -1L, "phone", 0)",
            129)
            .rejects({[](M& m) { return m.connect(nullptr); }}),
    };
    const sp<MirvoManager> bound = new MirvoManager;
    checkOperations(operations, kTag, *bound, *makeUnbound());
}

TEST_F(ManagerClientTest, SendsNothingBeyondAnUnterminatedText) {
    const sp<MirvoManager> manager = new MirvoManager;
    MVBluetoothConfig config = bluetooth();
    memset(config.text, 'a', sizeof(config.text));
    memset(&config.textLength, 'b', sizeof(config.textLength));
    EXPECT_EQ(manager->setBluetoothConfig(&config), 0);
    EXPECT_EQ(framework.requests(),
              Lines{R"(131: 5, 8, -1L, "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", 0)"});
}

TEST_F(ManagerClientTest, GetsNoMoreIdsThanFit) {
    const sp<MirvoManager> manager = new MirvoManager;
    const struct {
        const char* reply;
        unsigned int count;
    } kReplies[] = {
        {"130: 0", 0},
        {"130: -1", 0},
        {"130: 10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10", 10},
        {"130: 2000000000, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11", 10},
    };
    for (const auto& row : kReplies) {
        SCOPED_TRACE(row.reply);
        framework.answer(row.reply);
        unsigned int ids[11];
        std::fill(std::begin(ids), std::end(ids), kUntouched);
        unsigned int count = kUntouched;
        EXPECT_EQ(manager->getIds(ids, &count), 0);
        EXPECT_EQ(count, row.count);
        for (unsigned int i = 0; i < 11; ++i)
            EXPECT_EQ(ids[i], i < row.count ? i + 1 : kUntouched);
    }
}

TEST_F(ManagerClientTest, GetsNoHidDescriptorWithoutBytes) {
    const sp<MirvoManager> manager = new MirvoManager;
    const struct {
        const char* reply;
        int length;
    } kReplies[] = {{"131: 0, 0", 0}, {"131: 0, -5", -5}, {"131: 0, 2147483647", 0}};
    for (const auto& row : kReplies) {
        SCOPED_TRACE(row.reply);
        framework.answer(row.reply);
        unsigned char byte = 0;
        unsigned char* data = &byte;
        int length = kUntouched;
        log.take();
        EXPECT_EQ(manager->getHidDescriptor(&data, &length), 1);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(length, row.length);
        EXPECT_EQ(log.takeUntraced(kTag),
                  Lines{"E/MirvoManager[c]: failed to get HID descriptor.\n"});
    }
}

TEST_F(ManagerClientTest, AsksForTheVersionOverABindingOfItsOwn) {
    const struct {
        std::string reply;
        const char* version;
        Lines lines;
    } kReplies[] = {
        {R"(133: "4.5.6")", "4.5.6", {}},
        {R"(133: "")", "", {}},
        {"", "3.6.3", {"E/MirvoManager[c]: reply is null return\n"}},
        {reply(129),
         "3.6.3",
         {"E/MirvoManager[c]: reply  type error target :MVServiceReply::VERSION curr: 129 \n"}},
    };
    size_t client = 0;
    for (const auto& row : kReplies) {
        SCOPED_TRACE(row.reply);
        framework.answer(row.reply);
        EXPECT_STREQ(MirvoManager::getVersion().string(), row.version);
        EXPECT_EQ(log.take(kTag), row.lines);
        const std::string number = std::to_string(client++);
        EXPECT_EQ(framework.takeEvents(),
                  (Lines{number + " bind mirvo.accessory.manager", number + R"( request 130: "")",
                         number + " release"}));
    }
    framework.onBind([] { return false; });
    EXPECT_STREQ(MirvoManager::getVersion().string(), "3.6.3");
    EXPECT_EQ(log.take(kTag), Lines());
    EXPECT_EQ(framework.takeEvents(), (Lines{"4 bind mirvo.accessory.manager", "4 refused"}));
}

TEST_F(ManagerClientTest, ListensFromConstructionToDestruction) {
    sp<MirvoManager> manager = new MirvoManager;
    EXPECT_EQ(log.take(kTag), nested(kTag, {"MirvoManagerImpl"}));
    EXPECT_EQ(framework.takeEvents(), (Lines{"0 bind mirvo.accessory.manager", "0 listen"}));
    manager.clear();
    EXPECT_EQ(log.take(kTag), nested(kTag, {"~MirvoManagerImpl"}));
    EXPECT_EQ(framework.takeEvents(), (Lines{"0 unlisten", "0 release"}));

    manager = makeUnbound();
    manager.clear();
    EXPECT_EQ(framework.takeEvents(), (Lines{"1 bind mirvo.accessory.manager", "1 refused"}));
}

TEST_F(ManagerClientTest, Notifications) {
    const sp<MirvoManager> manager = new MirvoManager;
    const Lines kHandlers = {"onNotify", "onServiceNotify"};
    EXPECT_EQ(eventsOf("130: 1, 5"), Lines());
    const Lines kDropped = {"W/MirvoManager[c]: [MirvoManagerImpl] listener is null"};
    EXPECT_EQ(log.take(), nested(kTag, kHandlers, kDropped));

    EXPECT_EQ(manager->setNotifier(notifier()), 0);
    const struct {
        const char* message;
        Lines calls;
        Lines lines;
    } kNotifications[] = {
        {"130: 1, 5",
         {"notifier attach(5)"},
         {"I/MirvoManager[c]: [MirvoManagerImpl]  MV_ATTACHED"}},
        {"130: 2, -1",
         {"notifier detach(4294967295)"},
         {"I/MirvoManager[c]: [MirvoManagerImpl]  MV_DETACHED"}},
        {"130: 0, 5", {}, {}},
        {"130: 3, 5", {}, {}},
        {R"(133: 5, 1, 2, -1, -1L, ".", 1)", {}, {}},
        {"134: 5, 4, 1, {0a}", {}, {}},
        {"-1: 0", {}, {}},
        {"-1: 1", {}, {}},
        {"-1: 3", {}, {}},
    };
    for (const auto& row : kNotifications) {
        SCOPED_TRACE(row.message);
        EXPECT_EQ(eventsOf(row.message), row.calls);
        EXPECT_EQ(log.take(), nested(kTag, kHandlers, row.lines));
    }
}

TEST_F(ManagerClientTest, ReplacesItsNotifierByAnotherOnly) {
    const sp<MirvoManager> manager = new MirvoManager;
    sp<MirvoManagerNotifier> first = notifier("first");
    const android::wp<MirvoManagerNotifier> weak = first;
    manager->setNotifier(first);
    first.clear();
    log.take();
    EXPECT_EQ(manager->setNotifier(nullptr), 1);
    EXPECT_EQ(log.take(), nested(kTag, {"setNotifier"}));
    EXPECT_EQ(eventsOf("130: 1, 5"), Lines{"first attach(5)"});
    EXPECT_EQ(manager->setNotifier(notifier("second")), 0);
    EXPECT_EQ(weak.promote(), nullptr);
    EXPECT_EQ(eventsOf("130: 1, 5"), Lines{"second attach(5)"});
}

TEST_F(ManagerClientTest, ReportsTheLossOfTheServiceBeforeItLetsGo) {
    const sp<MirvoManager> manager = new MirvoManager;
    EXPECT_EQ(eventsOf("-1: 2"), Lines());
    EXPECT_EQ(log.takeUntraced(), Lines{"W/MirvoManager[c]: [MirvoManagerImpl] listener is null"});
    EXPECT_EQ(manager->startup(), 0);  // Nobody was told, so it is still bound.

    const sp<RecordingNotifier> told = new RecordingNotifier(framework, "notifier");
    told->during = [&] { EXPECT_EQ(manager->shutdown(), 0); };
    manager->setNotifier(told);
    EXPECT_EQ(eventsOf("-1: 2"), (Lines{"notifier error(1)", R"(0 request 131: 2, -1, -1L, ".", 0)",
                                        "0 unlisten", "0 release"}));
    log.take();
    EXPECT_EQ(manager->startup(), 1);
    EXPECT_EQ(log.takeUntraced(), Lines{"E/MirvoManager[c]: mServiceClient is null return\n"});
    EXPECT_EQ(manager->setNotifier(notifier()), 0);
}

TEST_F(ManagerClientTest, MayBeReleasedWhenItReportsTheLoss) {
    sp<MirvoManager> manager = new MirvoManager;
    const sp<RecordingNotifier> releasing = new RecordingNotifier(framework, "notifier");
    releasing->during = [&] { manager.clear(); };
    manager->setNotifier(releasing);
    EXPECT_EQ(eventsOf("-1: 2"), (Lines{"notifier error(1)", "0 unlisten", "0 release"}));
}

TEST_F(ManagerClientTest, WorksInsideItsNotifier) {
    const sp<MirvoManager> manager = new MirvoManager;
    const sp<RecordingNotifier> calling = new RecordingNotifier(framework, "notifier");
    calling->during = [&] {
        EXPECT_EQ(manager->startup(), 0);
        EXPECT_NE(manager->getMirvo(5), nullptr);
        EXPECT_TRUE(framework.notify(0, "130: 0, 5"));
        EXPECT_EQ(manager->setNotifier(notifier()), 0);
    };
    manager->setNotifier(calling);
    EXPECT_EQ(eventsOf("130: 1, 5").front(), "notifier attach(5)");
}

TEST_F(ManagerClientTest, HoldsNoLockWhileANotifierDies) {
    const sp<MirvoManager> manager = new MirvoManager;
    sp<RecordingNotifier> dying = new RecordingNotifier(framework, "notifier");
    Signal died;
    dying->gone = [&] {
        EXPECT_EQ(manager->setNotifier(notifier()), 0);
        died.set();
    };
    manager->setNotifier(dying);
    dying.clear();
    manager->setNotifier(notifier());
    EXPECT_TRUE(died.wait());
}

TEST_F(ManagerClientTest, IsNotNeededByAnOperationThatIsUnderWay) {
    sp<MirvoManager> manager = new MirvoManager;
    Signal asked;
    Signal released;
    framework.onRequest([&](const std::string&) {
        asked.set();
        EXPECT_TRUE(released.wait());
        return reply(129, 5);
    });
    std::thread caller([raw = manager.get()] { EXPECT_EQ(raw->startup(), 5); });
    ASSERT_TRUE(asked.wait());
    manager->setNotifier(notifier());  // Neither this nor a notification waits for the request.
    EXPECT_TRUE(framework.notify(0, "130: 1, 5"));
    manager.clear();
    released.set();
    caller.join();
}

TEST_F(ManagerClientTest, HearsNothingOnceItIsGone) {
    sp<MirvoManager> manager = new MirvoManager;
    manager->setNotifier(notifier());
    const auto listener = framework.listener(0);
    auto notification = framework.notification(0, "130: 1, 5");
    auto loss = framework.notification(0, "-1: 2");
    manager.clear();
    framework.takeEvents();
    log.take();
    listener->onNotify(notification);
    EXPECT_EQ(log.take(), nested(kTag, {"onNotify"}));
    listener->onNotify(loss);
    EXPECT_EQ(framework.takeEvents(), Lines());
}

}  // namespace
}  // namespace accessory

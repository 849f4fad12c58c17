#include "accessory/MirvoManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/accessory/ProxyTest.h"

namespace accessory {
namespace {

class ManagerClientTest : public ProxyTest<Manager> {
protected:
    int getIds(MirvoManager& manager) {
        unsigned int ids[] = {kUntouched, kUntouched, kUntouched};
        unsigned int count = kUntouched;
        const int result = manager.getIds(ids, &count);
        const bool sent = !framework.requests().empty();
        EXPECT_EQ(count, result == 0 ? 2u : sent ? 0u : kUntouched);
        EXPECT_EQ(ids[0], result == 0 ? 11 : kUntouched);
        EXPECT_EQ(ids[1], result == 0 ? 12 : kUntouched);
        EXPECT_EQ(ids[2], kUntouched);
        return result;
    }
};

TEST_F(ManagerClientTest, operations) {
    using M = MirvoManager;
    unsigned int ids[10];
    unsigned int count;
    unsigned char* data;
    int length;
    MVBluetoothConfig config = {"speaker", 1234, 8};
    // Sends nothing beyond its text, which has no terminator.
    MVBluetoothConfig full = {"", 0x62626262, 8};
    std::fill(std::begin(full.text), std::end(full.text), 'a');
    const std::vector<Operation<M>> operations = {
        {"startup", &M::startup, R"(131: 1, -1, -1L, ".", 0)"},
        {"shutdown", &M::shutdown, R"(131: 2, -1, -1L, ".", 0)"},
        {"disconnect", with(&M::disconnect, "phone"), R"(131: 3, -1, -1L, "phone", 0)"},
        {"disconnect", with(&M::disconnect, nullptr)},
        {"setConfigFile", with(&M::setConfigFile, "/etc/a"), R"(131: 4, -1, -1L, "/etc/a", 0)"},
        {"setConfigFile", with(&M::setConfigFile, nullptr)},
        {"setBluetoothConfig", with(&M::setBluetoothConfig, &config),
         R"(131: 5, 8, -1L, "speaker", 0)"},
        {"setBluetoothConfig", with(&M::setBluetoothConfig, &full),
         R"(131: 5, 8, -1L, "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", 0)"},
        {"setBluetoothConfig", with(&M::setBluetoothConfig, nullptr)},
        {"getMirvo", [](M& m) { return m.getMirvo(0xfffffff9) == nullptr ? 1 : 0; },
         R"(131: 6, -7, -1L, ".", 0)", 129, 1, "failed to get Mirvo device.\n"},
        {"getIds", [&](M& m) { return getIds(m); }, R"(131: 7, -1, -1L, ".", 0)", 130, 0},
        {"getIds", with(&M::getIds, nullptr, &count)},
        {"getIds", with(&M::getIds, ids, nullptr)},
        {"getHidDescriptor", checkBytes(&M::getHidDescriptor), R"(131: 8, -1, -1L, ".", 0)", 131,
         0},
        {"getHidDescriptor", with(&M::getHidDescriptor, nullptr, &length)},
        {"getHidDescriptor", with(&M::getHidDescriptor, &data, nullptr)},
        {"connect", with(&M::connect, "phone"), R"(131: 9, -1, -1L, "phone", 0)"},
        {"connect", with(&M::connect, nullptr)},
    };
    checkOperations(operations);
}

TEST_F(ManagerClientTest, getsNoHidDescriptorWithoutBytes) {
    const std::pair<const char*, int> kLengths[] = {
        {"131: 0, 0", 0}, {"131: 0, -5", -5}, {"131: 0, 2147483647", 0}};
    for (const auto& [answer, expected] : kLengths) {
        SCOPED_TRACE(answer);
        framework.answer(answer);
        unsigned char byte = 0;
        unsigned char* data = &byte;
        int length = kUntouched;
        log.take();
        EXPECT_EQ(proxy->getHidDescriptor(&data, &length), 1);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(length, expected);
        EXPECT_EQ(log.takeUntraced(tag),
                  Lines{"E/MirvoManager[c]: failed to get HID descriptor.\n"});
    }
}

TEST_F(ManagerClientTest, asksForTheVersionOverABindingOfItsOwn) {
    const std::string kError = "E/MirvoManager[c]: reply ";
    const struct {
        std::string reply;
        const char* version;
        Lines lines = {};
    } kReplies[] = {
        {R"(133: "4.5.6")", "4.5.6"},
        {R"(133: "")", ""},
        {"", "3.6.3", {kError + "is null return\n"}},
        {reply(129),
         "3.6.3",
         {kError + " type error target :MVServiceReply::VERSION curr: 129 \n"}},
    };
    log.take();
    for (const auto& row : kReplies) {
        SCOPED_TRACE(row.reply);
        framework.takeEvents();
        framework.answer(row.reply);
        const std::string client = std::to_string(framework.allClients());
        EXPECT_STREQ(MirvoManager::getVersion().c_str(), row.version);
        EXPECT_EQ(log.take(tag), row.lines);
        EXPECT_EQ(framework.takeEvents(),
                  (Lines{client + " bind mirvo.accessory.manager", client + R"( request 130: "")",
                         client + " release"}));
    }
    EXPECT_STREQ(unbound([] { return MirvoManager::getVersion(); }).c_str(), "3.6.3");
    EXPECT_EQ(log.take(tag), Lines());
    EXPECT_EQ(framework.takeEvents(), (Lines{"5 bind mirvo.accessory.manager", "5 refused"}));
}

TEST_F(ManagerClientTest, notifications) {
    const std::string kLine = "/MirvoManager[c]: [MirvoManagerImpl] ";
    const auto check = [&](const std::string& message, const Lines& calls, const Lines& lines) {
        SCOPED_TRACE(message);
        EXPECT_EQ(eventsOf(message), calls);
        EXPECT_EQ(log.take(), traced(tag, "onNotify", {traced(tag, "onServiceNotify", {lines})}));
    };
    for (const char* message : {"130: 1, 5", "-1: 2", "null"})
        check(message, {}, {"W" + kLine + "listener is null"});
    EXPECT_EQ(proxy->startup(), 0);  // Nobody was told of the loss, so it is still bound.

    EXPECT_EQ(proxy->setNotifier(notifier()), 0);
    check("130: 1, 5", {"attach 5"}, {"I" + kLine + " MV_ATTACHED"});
    check("130: 2, -1", {"detach 4294967295"}, {"I" + kLine + " MV_DETACHED"});
    for (const char* message : {"130: 0, 5", "130: 3, 5", R"(133: 5, 1, 2, -1, -1L, ".", 1)",
                                "134: 5, 4, 1, {0a}", "-1: 0", "-1: 1", "-1: 3", "null"}) {
        check(message, {}, {});
    }
}

TEST_F(ManagerClientTest, replacesItsNotifierByAnotherOnly) {
    sp<ManagerNotifier> first = notifier();
    const android::wp<ManagerNotifier> weak = first;
    proxy->setNotifier(first);
    first.clear();
    log.take();
    EXPECT_EQ(proxy->setNotifier(nullptr), 1);
    EXPECT_EQ(log.take(), traced(tag, "setNotifier"));
    EXPECT_EQ(eventsOf("130: 1, 5"), Lines{"attach 5"});
    EXPECT_EQ(proxy->setNotifier(notifier()), 0);
    EXPECT_EQ(weak.promote(), nullptr);
    EXPECT_EQ(eventsOf("130: 1, 5"), Lines{"attach 5"});
}

TEST_F(ManagerClientTest, reportsTheLossOfTheServiceBeforeItLetsGo) {
    const sp<ManagerNotifier> told = notifier();
    told->during = [&] { EXPECT_EQ(proxy->shutdown(), 0); };
    proxy->setNotifier(told);
    EXPECT_EQ(eventsOf("-1: 2"), (Lines{"error 1", R"(0 request 131: 2, -1, -1L, ".", 0)",
                                        "0 unlisten", "0 release"}));
    log.take();
    EXPECT_EQ(proxy->startup(), 1);
    EXPECT_EQ(log.takeUntraced(), Lines{"E/MirvoManager[c]: mServiceClient is null return\n"});
    EXPECT_EQ(proxy->setNotifier(notifier()), 0);
}

}  // namespace
}  // namespace accessory

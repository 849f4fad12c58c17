#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "accessory/MirvoImpl.h"
#include "accessory/MirvoManager.h"
#include "tests/accessory/ProxyTest.h"
#include "tests/support/Signal.h"

namespace accessory {
namespace {

using testing_support::bufferText;
using testing_support::Signal;

const std::string kTag = "Mirvo[c]";
constexpr unsigned int kAccessory = 7;
constexpr int kUntouched = 99;

// Puts what it is told among the framework's events.
class RecordingNotifier final : public MirvoNotifier {
public:
    explicit RecordingNotifier(testing_support::FakeFramework& framework) : mFramework(framework) {}

    void runningStateChange(int state) override { record("runningStateChange", state); }
    void controlUnavailable() override { record("controlUnavailable"); }
    void screenOrientationChange(int value) override { record("screenOrientationChange", value); }
    void deviceRequest(MVDeviceRequest& r) override {
        if (r.type != MVDeviceRequest::kBytes)
            return record("deviceRequest", r.type, r.param1, r.param2);
        record("deviceRequest " + bufferText(r.data, static_cast<unsigned int>(r.dataLength)));
    }
    void deviceResponse(MVDeviceResponse& r) override {
        record("deviceResponse", r.type, r.date1, r.date2, r.date3, r.hour, r.minute, r.second,
               r.fraction, r.week, r.dayOfWeek);
    }
    void hidReportDescriptor(unsigned char* data, unsigned int length) override {
        record("hidReportDescriptor " + bufferText(data, length));
    }
    void hidEvent(unsigned char* data, unsigned int length) override {
        record("hidEvent " + bufferText(data, length));
    }
    void errorEvent(int code) override { record("errorEvent", code); }

    // Run in every call.
    std::function<void()> during;

private:
    template <typename... Values>
    void record(std::string call, Values... values) {
        ((call += " " + std::to_string(values)), ...);
        mFramework.record(call);
        if (during) during();
    }

    testing_support::FakeFramework& mFramework;
};

class DeviceClientTest : public ProxyTest {
protected:
    sp<Mirvo> makeUnbound() {
        framework.onBind([] { return false; });
        sp<Mirvo> handle = new MirvoImpl(kAccessory);
        framework.onBind(nullptr);
        return handle;
    }

    sp<RecordingNotifier> notifier() { return new RecordingNotifier(framework); }

    // Delivers to the handle that was made first, and answers what came of it.
    Lines eventsOf(const std::string& notification) {
        framework.takeEvents();
        log.take();
        EXPECT_TRUE(framework.notify(0, notification));
        return framework.takeEvents();
    }

    template <typename Cook>
    int checkCook(Cook cook) {
        int length = kUntouched;
        const int result =
            checkBytes([&](unsigned char** out) { return cook(out, &length); }, &length);
        EXPECT_EQ(length, result == 1 ? kUntouched : 2);
        return result;
    }

    const unsigned int array1[3] = {11, 12, 13};
    const unsigned int array2[3] = {21, 22, 23};
    const unsigned int array3[3] = {31, 32, 0xffffffff};
    MVTouchEvent touch{0xfffffffffffffffe, 3, 2, 4, array1, array2, array3};
};

TEST_F(DeviceClientTest, Operations) {
    using M = Mirvo;
    using Op = Operation<Mirvo>;
    MVTouchEvent none(9, 0, 2, 4, nullptr, nullptr, nullptr);
    unsigned char block[] = {1, 2};
    unsigned char* out;
    int length;
    const std::vector<Op> operations = {
        Op(
            "setNotifier", [&](M& m) { return m.setNotifier(notifier()); },
            R"(134: 7, 1, -1, -1L, ".", 0)", 129)
            .rejects({[](M& m) { return m.setNotifier(nullptr); }}),
        Op(
            "setFeature", [&](M& m) { return m.setFeature(66, block, 2); },
            "136: 7, 1, 66, 2, {01 02}", 131)
            .rejects({[&](M& m) { return m.setFeature(66, block, 0x80000000); }}),
        Op(
            "setFeature", [](M& m) { return m.setFeature(0xffffffff, nullptr, 0); },
            "136: 7, 1, -1, 0", 131),
        Op(
            "sendTouchEvent", [&](M& m) { return m.sendTouchEvent(&touch); },
            "135: 7, 1, -2L, 3, 2, 4, 11, 21, 31, 12, 22, 32, 13, 23, -1", 129)
            .rejects({[](M& m) { return m.sendTouchEvent(nullptr); }}),
        Op(
            "sendTouchEvent", [&](M& m) { return m.sendTouchEvent(&none); },
            "135: 7, 1, 9L, 0, 2, 4", 129),
        Op(
            "cookTouchEvent",
            [&](M& m) {
                return checkCook([&](auto o, auto l) { return m.cookTouchEvent(&touch, o, l); });
            },
            "135: 7, 2, -2L, 3, 2, 4, 11, 21, 31, 12, 22, 32, 13, 23, -1", 131)
            .rejects({[&](M& m) { return m.cookTouchEvent(nullptr, &out, &length); },
                      [&](M& m) { return m.cookTouchEvent(&touch, nullptr, &length); },
                      [&](M& m) { return m.cookTouchEvent(&touch, &out, nullptr); }})
            .untraced(),
        Op(
            "sendKeyEvent", [](M& m) { return m.sendKeyEvent(0x80000001, true); },
            R"(134: 7, 2, -2147483647, -1L, ".", 1)", 129),
        Op(
            "sendCalibrateEvent", [](M& m) { return m.sendCalibrateEvent(); },
            R"(134: 7, 3, -1, -1L, ".", 0)", 129),
        Op(
            "sendVideoFocus", [](M& m) { return m.sendVideoFocus(5, true); },
            R"(134: 7, 4, 5, -1L, ".", 1)", 129),
        Op(
            "cookKeyEvent",
            [&](M& m) {
                return checkCook([&](auto o, auto l) { return m.cookKeyEvent(66, true, o, l); });
            },
            R"(134: 7, 5, 66, -1L, ".", 1)", 131)
            .rejects({[&](M& m) { return m.cookKeyEvent(66, true, nullptr, &length); },
                      [&](M& m) { return m.cookKeyEvent(66, true, &out, nullptr); }}),
        Op(
            "cookCalibrateEvent",
            [&](M& m) {
                return checkCook([&](auto o, auto l) { return m.cookCalibrateEvent(o, l); });
            },
            R"(134: 7, 6, -1, -1L, ".", 0)", 131)
            .rejects({[&](M& m) { return m.cookCalibrateEvent(nullptr, &length); },
                      [&](M& m) { return m.cookCalibrateEvent(&out, nullptr); }}),
        Op(
            "sendOnReadyForPairing", [](M& m) { return m.sendOnReadyForPairing(true); },
            R"(134: 7, 7, -1, -1L, ".", 1)", 129),
        Op(
            "sendForceLandscape", [](M& m) { return m.sendForceLandscape(true); },
            R"(134: 7, 8, -1, -1L, ".", 1)", 129),
        Op(
            "sendTimeDateInquiry", [](M& m) { return m.sendTimeDateInquiry(); },
            R"(134: 7, 9, -1, -1L, ".", 0)", 129),
        Op(
            "sendDisplayConfiguration",
            [](M& m) { return m.sendDisplayConfiguration(1, 2, 3, 4, 5); },
            "137: 7, 0, 1, 2, 3, 4, 5", 129),
    };
    const sp<Mirvo> bound = new MirvoImpl(kAccessory);
    checkOperations(operations, kTag, *bound, *makeUnbound());
    EXPECT_EQ(block[1], 2);
}

TEST_F(DeviceClientTest, CookedBytesMayBeFewButNotAbsent) {
    const sp<Mirvo> handle = new MirvoImpl(kAccessory);
    framework.answer("131: 5, 0");
    unsigned char* out = nullptr;
    int length = kUntouched;
    EXPECT_EQ(handle->cookKeyEvent(66, true, &out, &length), 5);
    EXPECT_NE(out, nullptr);
    EXPECT_EQ(length, 0);
    delete[] out;
    for (const std::string size : {"-5", "2147483647"}) {
        framework.answer("131: 5, " + size);
        log.take();
        EXPECT_EQ(checkCook([&](auto o, auto l) { return handle->cookKeyEvent(66, true, o, l); }),
                  1);
        EXPECT_EQ(log.takeUntraced(kTag),
                  Lines{"E/Mirvo[c]: no bytes for a cooked event of size " + size + "\n"});
    }
}

TEST_F(DeviceClientTest, ListensFromConstructionToDestruction) {
    sp<Mirvo> handle = new MirvoImpl(kAccessory);
    EXPECT_EQ(log.take(kTag), nested(kTag, {"MirvoImpl"}));
    EXPECT_EQ(framework.takeEvents(), (Lines{"0 bind mirvo.accessory.manager", "0 listen"}));
    handle.clear();
    EXPECT_EQ(log.take(kTag), nested(kTag, {"~MirvoImpl"}));
    EXPECT_EQ(framework.takeEvents(), (Lines{"0 unlisten", "0 release"}));
}

TEST_F(DeviceClientTest, EveryHandleHasAClientOfItsOwn) {
    const sp<MirvoManager> manager = new MirvoManager;
    sp<Mirvo> first = manager->getMirvo(kAccessory);
    const sp<Mirvo> second = manager->getMirvo(kAccessory);
    EXPECT_NE(first, second);
    EXPECT_EQ(framework.liveClients(), 3u);
    first.clear();
    EXPECT_EQ(framework.liveClients(), 2u);
    EXPECT_EQ(second->sendCalibrateEvent(), 0);
    EXPECT_EQ(framework.takeEvents().back(), R"(2 request 134: 7, 3, -1, -1L, ".", 0)");
}

// A device request: its type, two numbers, 28 more bytes and a length.
std::string request(const std::string& type, const std::string& length) {
    return "{" + type +
           " 00 00 00 01 02 03 04 05 00 00 80 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14"
           " 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24 " +
           length + "}";
}

TEST_F(DeviceClientTest, Notifications) {
    const sp<Mirvo> handle = new MirvoImpl(kAccessory);
    const std::string kState = R"(133: 7, 1, 2, -1, -1L, ".", 1)";
    const Lines kDropped = {"I/Mirvo[c]: [onNotify]:notifier is null"};
    for (const std::string& message : {kState, std::string("130: 1, 7"), std::string("-1: 2")}) {
        EXPECT_EQ(eventsOf(message), Lines());
        EXPECT_EQ(log.take(), nested(kTag, {"onNotify"}, kDropped));
    }
    const std::string kResponse =
        "{01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05 00 00 00"
        " 06 00 00 00 07 00 00 00 08 00 00 00 09 00 00 00 0a 00 00 00";
    const std::string kRequestHead = "134: 7, 1, 44, ";
    const std::string kUnhandled = "[onNotify]unhandle common notify";
    const std::string kCommon = "on common notify type:";
    const std::string kRaw = "on rawdata notify type:";
    const std::string kOutside = "device request of ";

    EXPECT_EQ(handle->setNotifier(notifier()), 0);
    const struct {
        std::string message;
        std::string call;
        Lines lines;
    } kNotifications[] = {
        {R"(133: 7, 0, 2, 3, 4L, ".", 1)", "controlUnavailable", {kCommon + "0"}},
        {R"(133: 7, 1, 2, 3, 4L, ".", 1)", "runningStateChange 2", {kCommon + "1"}},
        {R"(133: 7, 2, -2, 3, 4L, ".", 1)", "screenOrientationChange -2", {kCommon + "2"}},
        {R"(133: 7, 3, -6, 3, 4L, ".", 1)", "errorEvent -6", {kCommon + "3"}},
        {R"(133: 7, 4, 2, 3, 4L, ".", 1)", "", {kCommon + "4", kUnhandled}},
        {R"(133: 7, -1, 2, 3, 4L, ".", 1)", "", {kCommon + "-1", kUnhandled}},
        {R"(133: 8, 1, 2, 3, 4L, ".", 1)", "", {}},
        {"134: 8, 4, 1, {0a}", "", {}},
        {"130: 1, 7", "", {"[onNotify]notify type invaild"}},
        {"-1: 2", "", {"[onNotify]notify type invaild"}},
        {"134: 7, 0, 1, {0a}", "", {kRaw + "0", kUnhandled}},
        {"134: 7, 5, 1, {0a}", "", {kRaw + "5", kUnhandled}},
        {"134: 7, -1, 1, {0a}", "", {kRaw + "-1", kUnhandled}},
        {"134: 7, 3, 3, {0a 0b 0c}", "hidReportDescriptor {0a 0b 0c}", {kRaw + "3"}},
        {"134: 7, 4, 3, {0a 0b 0c}", "hidEvent {0a 0b 0c}", {kRaw + "4"}},
        {"134: 7, 3, 0", "hidReportDescriptor {}", {kRaw + "3"}},
        {"134: 7, 4, -3", "hidEvent {}", {kRaw + "4"}},
        {"134: 7, 4, 2147483647", "hidEvent {}", {kRaw + "4"}},
        {kRequestHead + request("00", "ff ff ff ff"),
         "deviceRequest 0 67305985 -2147483643",
         {kRaw + "1"}},
        {kRequestHead + request("02", "ff ff ff ff"),
         "deviceRequest 2 67305985 -2147483643",
         {kRaw + "1"}},
        {kRequestHead + request("01", "05 00 00 00"),
         "deviceRequest {01 02 03 04 05}",
         {kRaw + "1"}},
        {kRequestHead + request("01", "00 00 00 00"), "deviceRequest {}", {kRaw + "1"}},
        {kRequestHead + request("01", "24 00 00 00"),
         "deviceRequest {01 02 03 04 05 00 00 80 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14"
         " 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24}",
         {kRaw + "1"}},
        {kRequestHead + request("01", "25 00 00 00"),
         "",
         {kRaw + "1", kOutside + "37 bytes dropped"}},
        {kRequestHead + request("01", "ff ff ff ff"),
         "",
         {kRaw + "1", kOutside + "-1 bytes dropped"}},
        {"134: 7, 1, 45, " + request("01", "01 00 00 00 99"), "deviceRequest {01}", {kRaw + "1"}},
        {"134: 7, 1, 43", "", {kRaw + "1", "rawdata of type 1 too short: 43"}},
        {"134: 7, 1, 0", "", {kRaw + "1", "rawdata of type 1 too short: 0"}},
        {"134: 7, 1, 2147483647", "", {kRaw + "1", "rawdata of type 1 too short: 2147483647"}},
        {"134: 7, 2, 40, " + kResponse + "}", "deviceResponse 1 2 3 4 5 6 7 8 9 10", {kRaw + "2"}},
        {"134: 7, 2, 41, " + kResponse + " 99}",
         "deviceResponse 1 2 3 4 5 6 7 8 9 10",
         {kRaw + "2"}},
        {"134: 7, 2, 39", "", {kRaw + "2", "rawdata of type 2 too short: 39"}},
        {"134: 7, 2, -1", "", {kRaw + "2", "rawdata of type 2 too short: -1"}},
    };
    for (const auto& row : kNotifications) {
        SCOPED_TRACE(row.message);
        EXPECT_EQ(eventsOf(row.message), row.call.empty() ? Lines() : Lines{row.call});
        Lines lines;
        for (const std::string& line : row.lines)
            lines.push_back("I/Mirvo[c]: " + line);
        EXPECT_EQ(log.take(kTag), nested(kTag, {"onNotify"}, lines));
    }
    EXPECT_EQ(handle->sendCalibrateEvent(), 0);  // The loss of the service was not its business.
}

TEST_F(DeviceClientTest, InstallsANotifierOnlyWhenTheServiceAgrees) {
    const sp<Mirvo> handle = new MirvoImpl(kAccessory);
    const std::string kUnavailable = R"(133: 7, 0, 2, 3, 4L, ".", 1)";
    const auto isNotified = [&] { return !eventsOf(kUnavailable).empty(); };
    framework.answer(reply(129, 5));
    EXPECT_EQ(handle->setNotifier(notifier()), 5);
    EXPECT_FALSE(isNotified());
    framework.answer(reply(129));
    sp<MirvoNotifier> kept = notifier();
    const android::wp<MirvoNotifier> weak = kept;
    EXPECT_EQ(handle->setNotifier(kept), 0);
    kept.clear();
    EXPECT_TRUE(isNotified());
    for (const std::string& refusal : {reply(129, 5), reply(131), std::string()}) {
        framework.answer(refusal);
        EXPECT_NE(handle->setNotifier(notifier()), 0);
        EXPECT_NE(weak.promote(), nullptr);
    }
    framework.answer(reply(129));
    EXPECT_EQ(handle->setNotifier(notifier()), 0);
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST_F(DeviceClientTest, MayBeReleasedInsideItsNotifier) {
    sp<Mirvo> handle = new MirvoImpl(kAccessory);
    const sp<RecordingNotifier> releasing = notifier();
    releasing->during = [&] {
        EXPECT_EQ(handle->setNotifier(notifier()), 0);
        handle.clear();
    };
    EXPECT_EQ(handle->setNotifier(releasing), 0);
    EXPECT_EQ(eventsOf("134: 7, 4, 1, {0a}"),
              (Lines{"hidEvent {0a}", R"(0 request 134: 7, 1, -1, -1L, ".", 0)", "0 unlisten",
                     "0 release"}));
}

TEST_F(DeviceClientTest, IsNotNeededByOperationsThatAreUnderWay) {
    sp<Mirvo> handle = new MirvoImpl(kAccessory);
    Signal asked;
    Signal released;
    framework.onRequest([&](const std::string&) {
        asked.set();
        EXPECT_TRUE(released.wait());
        return reply(129);
    });
    // Of all operations this is the one that has something to do after the reply.
    std::thread caller([&, raw = handle.get()] { EXPECT_EQ(raw->setNotifier(notifier()), 0); });
    ASSERT_TRUE(asked.wait());
    EXPECT_TRUE(framework.notify(0, "134: 7, 4, 1, {0a}"));  // Does not wait for the request.
    handle.clear();
    released.set();
    caller.join();
}

TEST_F(DeviceClientTest, HearsNothingOnceItIsGone) {
    sp<Mirvo> handle = new MirvoImpl(kAccessory);
    EXPECT_EQ(handle->setNotifier(notifier()), 0);
    const auto listener = framework.listener(0);
    auto notification = framework.notification(0, "134: 7, 4, 1, {0a}");
    handle.clear();
    framework.takeEvents();
    log.take();
    listener->onNotify(notification);
    EXPECT_EQ(log.take(), nested(kTag, {"onNotify"}));
    EXPECT_EQ(framework.takeEvents(), Lines());
}

TEST_F(DeviceClientTest, TouchEventsOwnTheirArrays) {
    EXPECT_EQ(touch.getEventType(), 2);
    EXPECT_NE(touch.array1, array1);
    MVTouchEvent none(9, 0, 2, 4, nullptr, nullptr, nullptr);
    EXPECT_TRUE(none.array1 != nullptr && none.array2 != nullptr && none.array3 != nullptr);
    EXPECT_THROW(MVTouchEvent(9, -1, 2, 4, array1, array2, array3), std::bad_array_new_length);
}

}  // namespace
}  // namespace accessory

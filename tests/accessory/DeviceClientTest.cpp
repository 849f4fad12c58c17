#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "tests/accessory/ProxyTest.h"

namespace {

size_t gLargest = SIZE_MAX;

}  // namespace

// The arrays of messages cannot be had when they are larger than that.
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return size > gLargest ? nullptr : ::operator new[](size);
}

namespace accessory {
namespace {

class DeviceClientTest : public ProxyTest<Device> {
protected:
    const unsigned int array1[3] = {11, 12, 13};
    const unsigned int array2[3] = {21, 22, 23};
    const unsigned int array3[3] = {31, 32, 0xffffffff};
    // Sends the touch with a field that was changed.
    template <typename Field, typename Value>
    std::function<int(Mirvo&)> changed(Field MVTouchEvent::*field, Value value) {
        return [=](Mirvo& device) {
            const Field original = std::exchange(touch.*field, value);
            const int result = device.sendTouchEvent(&touch);
            touch.*field = original;
            return result;
        };
    }

    MVTouchEvent touch{0xfffffffffffffffe, 3, 2, 4, array1, array2, array3};
};

TEST_F(DeviceClientTest, operations) {
    using M = Mirvo;
    MVTouchEvent none(9, 0, 2, 4, nullptr, nullptr, nullptr);
    unsigned char block[] = {1, 2};
    unsigned char* out;
    int length;
    const std::string kTouch = ", -2L, 3, 2, 4, 11, 21, 31, 12, 22, 32, 13, 23, -1";
    const std::vector<Operation<M>> operations = {
        {"setNotifier", with(&M::setNotifier, notifier()), R"(134: 7, 1, -1, -1L, ".", 0)"},
        {"setNotifier", with(&M::setNotifier, nullptr)},
        {"setFeature", with(&M::setFeature, 66, block, 2), "136: 7, 1, 66, 2, {01 02}", 131},
        {"setFeature", with(&M::setFeature, 0xffffffff, nullptr, 0), "136: 7, 1, -1, 0", 131},
        {"setFeature", with(&M::setFeature, 66, block, 0x80000000)},
        {"setFeature", with(&M::setFeature, 66, nullptr, 2)},
        {"sendTouchEvent", with(&M::sendTouchEvent, &touch), "135: 7, 1" + kTouch},
        {"sendTouchEvent", with(&M::sendTouchEvent, &none), "135: 7, 1, 9L, 0, 2, 4"},
        {"sendTouchEvent", with(&M::sendTouchEvent, nullptr)},
        {"sendTouchEvent", changed(&MVTouchEvent::count, -1)},
        {"sendTouchEvent", changed(&MVTouchEvent::array1, nullptr)},
        {"sendTouchEvent", changed(&MVTouchEvent::array2, nullptr)},
        {"sendTouchEvent", changed(&MVTouchEvent::array3, nullptr)},
        {"cookTouchEvent", checkBytes(&M::cookTouchEvent, &touch), "135: 7, 2" + kTouch, 131},
        {"cookTouchEvent", with(&M::cookTouchEvent, nullptr, &out, &length)},
        {"cookTouchEvent", with(&M::cookTouchEvent, &touch, nullptr, &length)},
        {"cookTouchEvent", with(&M::cookTouchEvent, &touch, &out, nullptr)},
        {"sendKeyEvent", with(&M::sendKeyEvent, 0x80000001, true),
         R"(134: 7, 2, -2147483647, -1L, ".", 1)"},
        {"sendCalibrateEvent", &M::sendCalibrateEvent, R"(134: 7, 3, -1, -1L, ".", 0)"},
        {"sendVideoFocus", with(&M::sendVideoFocus, 5, true), R"(134: 7, 4, 5, -1L, ".", 1)"},
        {"cookKeyEvent", checkBytes(&M::cookKeyEvent, 66u, true), R"(134: 7, 5, 66, -1L, ".", 1)",
         131},
        {"cookKeyEvent", with(&M::cookKeyEvent, 66, true, nullptr, &length)},
        {"cookKeyEvent", with(&M::cookKeyEvent, 66, true, &out, nullptr)},
        {"cookCalibrateEvent", checkBytes(&M::cookCalibrateEvent), R"(134: 7, 6, -1, -1L, ".", 0)",
         131},
        {"cookCalibrateEvent", with(&M::cookCalibrateEvent, nullptr, &length)},
        {"cookCalibrateEvent", with(&M::cookCalibrateEvent, &out, nullptr)},
        {"sendOnReadyForPairing", with(&M::sendOnReadyForPairing, true),
         R"(134: 7, 7, -1, -1L, ".", 1)"},
        {"sendForceLandscape", with(&M::sendForceLandscape, true), R"(134: 7, 8, -1, -1L, ".", 1)"},
        {"sendTimeDateInquiry", &M::sendTimeDateInquiry, R"(134: 7, 9, -1, -1L, ".", 0)"},
        {"sendDisplayConfiguration", with(&M::sendDisplayConfiguration, 1, 2, 3, 4, 5),
         "137: 7, 0, 1, 2, 3, 4, 5"},
    };
    checkOperations(operations);
}

TEST_F(DeviceClientTest, cookedBytesMayBeFewButNotAbsent) {
    framework.answer("131: 5, 0");
    unsigned char* out = nullptr;
    int length = kUntouched;
    EXPECT_EQ(proxy->cookKeyEvent(66, true, &out, &length), 5);
    EXPECT_NE(out, nullptr);
    EXPECT_EQ(length, 0);
    delete[] out;
    for (const std::string size : {"-5", "2147483647"}) {
        framework.answer("131: 5, " + size);
        log.take();
        EXPECT_EQ(checkBytes(&Mirvo::cookKeyEvent, 66u, true)(*proxy), 1);
        EXPECT_EQ(log.takeUntraced(tag),
                  Lines{"E/Mirvo[c]: no bytes for a cooked event of size " + size + "\n"});
    }
}

TEST_F(DeviceClientTest, notifications) {
    const auto check = [&](const std::string& message, const std::string& call, Lines lines) {
        SCOPED_TRACE(message);
        EXPECT_EQ(eventsOf(message), call.empty() ? Lines() : Lines{call});
        for (std::string& line : lines)
            line.insert(0, "I/Mirvo[c]: ");
        EXPECT_EQ(log.take(tag), traced(tag, "onNotify", {lines}));
    };
    const std::string kValues = R"(, 3, 4L, ".", 1)";
    for (const std::string& message :
         {"133: 7, 1, 2" + kValues, std::string("-1: 2"), std::string("null")})
        check(message, "", {"[onNotify]:notifier is null"});
    EXPECT_EQ(proxy->setNotifier(notifier()), 0);
    for (const std::string& message : {"133: 8, 1, 2" + kValues, std::string("134: 8, 4, 1, {0a}")})
        check(message, "", {});
    for (const char* message : {"130: 1, 7", "-1: 2", "null"})
        check(message, "", {"[onNotify]notify type invaild"});
    EXPECT_EQ(proxy->sendCalibrateEvent(), 0);  // The loss of the service is not its business.

    // A request is its type, two numbers, 28 more bytes and a length.
    const std::string kThirtySix =
        "01 02 03 04 05 00 00 80 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14"
        " 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24";
    const std::string kRequest = "134: 7, 1, 44, {01 00 00 00 " + kThirtySix;
    const std::string kResponse =
        "{01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05 00 00 00"
        " 06 00 00 00 07 00 00 00 08 00 00 00 09 00 00 00 0a 00 00 00";
    const std::string kUnhandled = "[onNotify]unhandle common notify";
    const struct {
        std::string message;
        std::string call;
        std::string line = "";
    } kMessages[] = {
        {"133: 7, 0, 2" + kValues, "controlUnavailable"},
        {"133: 7, 1, 2" + kValues, "runningStateChange 2"},
        {"133: 7, 2, -2" + kValues, "screenOrientationChange -2"},
        {"133: 7, 3, -6" + kValues, "errorEvent -6"},
        {"133: 7, 4, 2" + kValues, "", kUnhandled},
        {"133: 7, -1, 2" + kValues, "", kUnhandled},
        {"134: 7, 0, 1, {0a}", "", kUnhandled},
        {"134: 7, 5, 1, {0a}", "", kUnhandled},
        {"134: 7, -1, 1, {0a}", "", kUnhandled},
        {"134: 7, 3, 3, {0a 0b 0c}", "hidReportDescriptor {0a 0b 0c}"},
        {"134: 7, 4, 3, {0a 0b 0c}", "hidEvent {0a 0b 0c}"},
        {"134: 7, 3, 0", "hidReportDescriptor {}"},
        {"134: 7, 4, -3", "hidEvent {}"},
        {"134: 7, 4, 2147483647", "hidEvent {}"},
        {"134: 7, 1, 44, {00 00 00 00 " + kThirtySix + " ff ff ff ff}",
         "deviceRequest 0 67305985 -2147483643"},
        {"134: 7, 1, 44, {02 00 00 00 " + kThirtySix + " ff ff ff ff}",
         "deviceRequest 2 67305985 -2147483643"},
        {kRequest + " 05 00 00 00}", "deviceRequest {01 02 03 04 05}"},
        {kRequest + " 00 00 00 00}", "deviceRequest {}"},
        {kRequest + " 24 00 00 00}", "deviceRequest {" + kThirtySix + "}"},
        {kRequest + " 25 00 00 00}", "", "device request of 37 bytes dropped"},
        {kRequest + " ff ff ff ff}", "", "device request of -1 bytes dropped"},
        {"134: 7, 1, 45, {01 00 00 00 " + kThirtySix + " 01 00 00 00 99}", "deviceRequest {01}"},
        {"134: 7, 1, 43", "", "rawdata of type 1 too short: 43"},
        {"134: 7, 1, 2147483647", "", "rawdata of type 1 too short: 2147483647"},
        {"134: 7, 2, 40, " + kResponse + "}", "deviceResponse 1 2 3 4 5 6 7 8 9 10"},
        {"134: 7, 2, 41, " + kResponse + " 99}", "deviceResponse 1 2 3 4 5 6 7 8 9 10"},
        {"134: 7, 2, 39", "", "rawdata of type 2 too short: 39"},
        {"134: 7, 2, -1", "", "rawdata of type 2 too short: -1"},
    };
    for (const auto& row : kMessages) {
        const std::string type = row.message.substr(8, row.message.find(',', 8) - 8);
        const std::string kind = row.message[2] == '3' ? "common" : "rawdata";
        Lines lines = {"on " + kind + " notify type:" + type};
        if (!row.line.empty()) lines.push_back(row.line);
        check(row.message, row.call, lines);
    }
}

TEST_F(DeviceClientTest, installsANotifierOnlyWhenTheServiceAgrees) {
    const std::string kUnavailable = R"(133: 7, 0, 2, 3, 4L, ".", 1)";
    framework.answer(reply(129, 5));
    EXPECT_EQ(proxy->setNotifier(notifier()), 5);
    EXPECT_EQ(eventsOf(kUnavailable), Lines());
    framework.answer(reply(129));
    sp<DeviceNotifier> kept = notifier();
    const android::wp<DeviceNotifier> weak = kept;
    EXPECT_EQ(proxy->setNotifier(kept), 0);
    kept.clear();
    EXPECT_EQ(eventsOf(kUnavailable), Lines{"controlUnavailable"});
    for (const std::string& refusal : {reply(129, 5), reply(131), std::string()}) {
        framework.answer(refusal);
        EXPECT_NE(proxy->setNotifier(notifier()), 0);
        EXPECT_NE(weak.promote(), nullptr);
    }
    framework.answer(reply(129));
    EXPECT_EQ(proxy->setNotifier(notifier()), 0);
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST_F(DeviceClientTest, sendsNoTouchForWhichThereIsNoMemory) {
    gLargest = 11;
    EXPECT_EQ(proxy->sendTouchEvent(&touch), 1);
    EXPECT_EQ(checkBytes(&Mirvo::cookTouchEvent, &touch)(*proxy), 1);
    gLargest = SIZE_MAX;
    const std::string kLine = "E/Mirvo[c]: no memory for 3 pointers\n";
    EXPECT_EQ(log.takeUntraced(), (Lines{kLine, kLine}));
    EXPECT_EQ(framework.requests(), Lines());
}

TEST_F(DeviceClientTest, touchEventsOwnTheirArrays) {
    EXPECT_EQ(touch.getEventType(), 2);
    EXPECT_NE(touch.array1, array1);
    MVTouchEvent none(9, 0, 2, 4, nullptr, nullptr, nullptr);
    EXPECT_TRUE(none.array1 != nullptr && none.array2 != nullptr && none.array3 != nullptr);
    EXPECT_THROW(MVTouchEvent(9, -1, 2, 4, array1, array2, array3), std::bad_array_new_length);
}

}  // namespace
}  // namespace accessory

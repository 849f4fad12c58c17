#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

#include "api/ZRMirvoNotifier.h"
#include "tests/api/Facade.h"

namespace zrmirvo {
namespace {

// One kind of callback, with what delivers an event to it.
template <typename Callback>
struct KindOf;

template <>
struct KindOf<ManagerCallback> {
    static constexpr size_t kClient = kManagerClient;
    static constexpr const char* kNotify = kAttached;
    static constexpr const char* kEvent = "onAttach 7";
    static ZRMirvoManager& target(ZRMirvoManager* manager, ZRMirvo*) { return *manager; }
};

template <>
struct KindOf<DeviceCallback> {
    static constexpr size_t kClient = kInstanceClient;
    static constexpr const char* kNotify = kStateChange;
    static constexpr const char* kEvent = "onRunningStateChange 3";
    static ZRMirvo& target(ZRMirvoManager*, ZRMirvo* instance) { return *instance; }
};

class CallbacksTest : public FacadeTest {
protected:
    CallbacksTest() { obtain(); }

    // Writes down who was called, and with what.
    Call recorder(const std::string& name) {
        return [this, name](const std::string& event) { mCalls.push_back(name + " " + event); };
    }

    Lines calls() { return std::exchange(mCalls, {}); }

    Lines mCalls;
};

TEST_F(CallbacksTest, receiveEveryEventInTheOrderOfRegistration) {
    const std::string numbers =
        "{00 00 00 00 05 00 00 00 fa ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00}";
    const std::string data =
        "{01 00 00 00 09 08 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 03 00 00 00}";
    std::string unknown = data;
    unknown[2] = '2';
    const std::string rest =
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 00 00}";
    const std::string date =
        "{01 00 00 00 e8 07 00 00 05 00 00 00 11 00 00 00 0d 00 00 00 2d 00 00 00 1e 00 00 00 fa "
        "00 00 00 14 00 00 00 05 00 00 00}";
    const std::string tail = ", -1, -1L, \".\", 2";
    struct {
        size_t client;
        std::string notify;
        Lines log;
        std::string event;
    } const rows[] = {
        {kManagerClient, kAttached, {"accessoryId=7\n"}, "onAttach 7"},
        {kManagerClient, "130: 2, 8", {"accessoryId=8\n"}, "onDetach 8"},
        {kManagerClient, "130: 3, 8", {}, ""},
        {kInstanceClient, kStateChange, {"state=3\n"}, "onRunningStateChange 3"},
        {kInstanceClient, "133: 7, 0, 5" + tail, {}, "onControlUnavailable"},
        {kInstanceClient,
         "133: 7, 2, -1" + tail,
         {"orientation:-1\n"},
         "onScreenOrientationChange -1"},
        {kInstanceClient, "133: 8, 1, 3" + tail, {}, ""},
        {kInstanceClient, "134: 7, 1, 44, " + numbers, {"type:0\n"}, "onDeviceRequest 5 -6"},
        {kInstanceClient, "134: 7, 1, 44, " + data, {"type:1\n"}, "onDeviceRequestData 9 8 7"},
        {kInstanceClient, "134: 7, 1, 44, " + unknown, {"type:2\n"}, ""},
        {kInstanceClient, "134: 7, 2, 40, {00 00 00 00 " + rest, {"type:0\n"}, "onDeviceResponse"},
        {kInstanceClient, "134: 7, 2, 40, {ff ff ff ff " + rest, {"type:-1\n"}, ""},
        {kInstanceClient,
         "134: 7, 2, 40, " + date,
         {"type:1\n",
          "[deviceResponse:LINE]Date[2024/5/17] Time[13:45:30.250] week[20] "
          "dayOfWeek[5] "},
         "onTimeDateResponse 2024 5 17 13 45 30 250 20 5"},
        {kInstanceClient, "134: 7, 3, 2, {01 ff}", {}, "onHidReportDescriptor 1 255"},
        {kInstanceClient, "134: 7, 4, 1, {02}", {}, "onHidEvent 2"},
        {kInstanceClient, "134: 7, 4, 0", {}, "onHidEvent"},
        {kManagerClient, kServiceLost, {"errorCode=1\n"}, "onError"},
    };
    ManagerCallback m1(recorder("1")), m2(recorder("2")), m3(recorder("3"));
    DeviceCallback d1(recorder("1")), d2(recorder("2")), d3(recorder("3"));
    for (ManagerCallback* callback : {&m1, &m2, &m3, &m1})
        EXPECT_TRUE(mManager->RegisterCallback(callback));
    for (DeviceCallback* callback : {&d1, &d2, &d3, &d1})
        EXPECT_TRUE(mInstance->RegisterCallback(callback));
    const auto expectRows = [&](const std::vector<std::string>& names) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.notify);
            mLog.take();
            Lines called;
            Lines logged;
            if (!row.event.empty()) {
                for (const std::string& name : names)
                    called.push_back(name + " " + row.event);
            }
            for (const std::string& line : row.log)
                logged.push_back("I/ZRMirvo: " + line);
            // The loss of the service comes once.
            if (!deliver(row.client, row.notify.c_str())) continue;
            EXPECT_EQ(calls(), called);
            EXPECT_EQ(lines(), logged);
        }
    };
    expectRows({"1", "2", "3"});
    mManager->UnregisterCallback(&m2);
    mInstance->UnregisterCallback(&d2);
    mInstance->UnregisterCallback(&d2);
    expectRows({"1", "3"});
    release();
}

TEST_F(CallbacksTest, areToldOfAnErrorWithoutItsCode) {
    const android::sp<ZRMirvoManagerNotifier> notifier = new ZRMirvoManagerNotifier;
    ManagerCallback first(recorder("1")), second(recorder("2"));
    notifier->setCallbackObject(&first);
    notifier->setCallbackObject(&second);
    mLog.take();
    notifier->error(5);
    notifier->videoEstablished(kAccessory);
    EXPECT_EQ(mLog.take(),
              (Lines{"D/ZRMirvo: [ZRMirvo][error] [--IN--]", "I/ZRMirvo: errorCode=5\n",
                     "D/ZRMirvo: [ZRMirvo][error] [--OUT--]"}));
    EXPECT_EQ(calls(), (Lines{"1 onError", "2 onError"}));
}

TEST_F(CallbacksTest, areNotToldOfDeviceErrors) {
    struct {
        int code;
        const char* line;
        bool disconnects;
    } const rows[] = {
        {-5, "MV_ERROR_CODE_PROTOCOL_CONNECT_FAIL!\n", false},
        {-2, "MV_ERROR_CODE_TRANSPORT_FATAL!\n", true},
        {-3, "MV_ERROR_CODE_PING_FAIL!\n", true},
        {-6, "MV_ERROR_CODE_VIDEO_PLAYER_ALLOC_FAIL!\n", true},
        {-4, "unknown error event[-4]!\n", false},
        {-1, "unknown error event[-1]!\n", false},
        {0, "unknown error event[0]!\n", false},
        {2, "unknown error event[2]!\n", false},
    };
    DeviceCallback callback(recorder("1"));
    for (const bool registered : {false, true}) {
        if (registered) mInstance->RegisterCallback(&callback);
        for (const auto& row : rows) {
            mFramework.takeEvents();
            lines();
            const std::string code = std::to_string(row.code);
            deliver(kInstanceClient, ("133: 7, 3, " + code + ", -1, -1L, \".\", 2").c_str());
            EXPECT_EQ(lines(), Lines{"E/ZRMirvo: [errorEvent:LINE] " + std::string(row.line)});
            const Lines sent = {kDisconnectRequest};
            EXPECT_EQ(mFramework.requests(), row.disconnects ? sent : Lines{}) << code;
        }
    }
    EXPECT_EQ(calls(), Lines{});
    release();
}

// What the callback A, B or C does when it is called, and who is called in that delivery.
struct Change {
    const char* name;
    char actor;
    const char* change;  // "-A" unregisters A, "+D" registers D
    const char* called;
    const char* calledNext;
};

constexpr Change kOwnChanges[] = {
    {"itself, so that the next is skipped", 'A', "-A", "AC", "BC"},
    {"itself, in the middle", 'B', "-B", "AB", "AC"},
    {"itself, at the end", 'C', "-C", "ABC", "AB"},
    {"the neighbour behind it", 'A', "-B", "AC", "AC"},
    {"the neighbour before it", 'B', "-A", "AB", "BC"},
    {"a new one", 'B', "+D", "ABCD", "ABCD"},
    {"all", 'A', "-A-B-C", "A", ""},
    {"nothing new", 'A', "+A+B", "ABC", "ABC"},
};

constexpr Change kForeignChanges[] = {
    {"who was called already", 'B', "-A", "ABC", "BC"},
    {"who comes next", 'B', "-C", "AB", "AB"},
    {"a new one", 'B', "+D", "ABCD", "ABCD"},
    {"who moves to the end", 'B', "-A+A", "ABCA", "BCA"},
    {"everybody else", 'B', "-A-C", "AB", "B"},
};

template <typename Callback>
class DeliveryTest : public CallbacksTest {
protected:
    using Kind = KindOf<Callback>;

    // Runs `change` inside the delivery, either in the callback itself or, while the callback
    // waits for it, on a thread of its own.
    void run(const Change& row, bool foreign) {
        SCOPED_TRACE(row.name);
        std::string called;
        bool armed = true;
        std::vector<std::unique_ptr<Callback>> callbacks;
        auto& target = Kind::target(mManager, mInstance);
        const auto apply = [&] {
            for (const char* step = row.change; *step != '\0'; step += 2) {
                Callback* callback = callbacks[static_cast<size_t>(step[1] - 'A')].get();
                if (*step == '-') target.UnregisterCallback(callback);
                EXPECT_TRUE(*step == '-' || target.RegisterCallback(callback));
            }
        };
        for (const char name : {'A', 'B', 'C', 'D'}) {
            callbacks.push_back(std::make_unique<Callback>([&, name](const std::string& event) {
                EXPECT_EQ(event, Kind::kEvent);
                called += name;
                if (name != row.actor || !std::exchange(armed, false)) return;
                if (foreign) std::thread(apply).join();
                if (!foreign) apply();
            }));
            if (name != 'D') target.RegisterCallback(callbacks.back().get());
        }
        EXPECT_TRUE(deliver(Kind::kClient, Kind::kNotify));
        EXPECT_EQ(std::exchange(called, ""), row.called);
        EXPECT_TRUE(deliver(Kind::kClient, Kind::kNotify));
        EXPECT_EQ(called, row.calledNext);
        for (const auto& callback : callbacks)
            target.UnregisterCallback(callback.get());
    }
};

using Kinds = testing::Types<ManagerCallback, DeviceCallback>;
TYPED_TEST_SUITE(DeliveryTest, Kinds);

TYPED_TEST(DeliveryTest, goesAsALoopOverTheIndexDoes) {
    for (const Change& row : kOwnChanges)
        this->run(row, false);
}

TYPED_TEST(DeliveryTest, isNotDisturbedByOtherThreads) {
    for (const Change& row : kForeignChanges)
        this->run(row, true);
}

}  // namespace
}  // namespace zrmirvo

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "tests/api/Facade.h"

namespace zrmirvo {
namespace {

class CallbacksTest : public FacadeTest {
protected:
    CallbacksTest() { obtain(); }

    // Writes down who was called, and with what.
    Callback::Call recorder(const std::string& name) {
        return [this, name](const std::string& event) { mCalls.push_back(name + " " + event); };
    }

    Lines calls() { return std::exchange(mCalls, {}); }

    Lines mCalls;
};

// A buffer of `size` bytes, with its length before it, that begins and ends with these.
std::string padded(size_t size, const std::string& begin, const std::string& end = "") {
    std::string bytes = begin;
    while (bytes.size() + end.size() + 1 < 3 * size)
        bytes += " 00";
    return std::to_string(size) + ", {" + bytes + end + "}";
}

TEST_F(CallbacksTest, receiveEveryEventInTheOrderOfRegistration) {
    const std::string tail = R"(, -1, -1L, ".", 2)";
    struct {
        std::string notify;
        Lines log;
        std::string event;
    } const rows[] = {
        {kAttached, {"accessoryId=7\n"}, "onAttach 7"},
        {"130: 2, 8", {"accessoryId=8\n"}, "onDetach 8"},
        {"130: 3, 8", {}, ""},
        {kStateChange, {"state=3\n"}, "onRunningStateChange 3"},
        {"133: 7, 0, 5" + tail, {}, "onControlUnavailable"},
        {"133: 7, 2, -1" + tail, {"orientation:-1\n"}, "onScreenOrientationChange -1"},
        {"133: 8, 1, 3" + tail, {}, ""},
        {"134: 7, 1, " + padded(44, "00 00 00 00 05 00 00 00 fa ff ff ff"),
         {"type:0\n"},
         "onDeviceRequest 5 -6"},
        {"134: 7, 1, " + padded(44, "01 00 00 00 09 08 07", " 03 00 00 00"),
         {"type:1\n"},
         "onDeviceRequestData {09 08 07}"},
        {"134: 7, 1, " + padded(44, "02"), {"type:2\n"}, ""},
        {"134: 7, 2, " + padded(40, "00"), {"type:0\n"}, "onDeviceResponse"},
        {"134: 7, 2, " + padded(40, "ff ff ff ff"), {"type:-1\n"}, ""},
        {"134: 7, 2, 40, {01 00 00 00 e8 07 00 00 05 00 00 00 11 00 00 00 0d 00 00 00"
         " 2d 00 00 00 1e 00 00 00 fa 00 00 00 14 00 00 00 05 00 00 00}",
         {"type:1\n",
          "[deviceResponse:LINE]Date[2024/5/17] Time[13:45:30.250] week[20] "
          "dayOfWeek[5] "},
         "onTimeDateResponse 2024 5 17 13 45 30 250 20 5"},
        {"134: 7, 3, 2, {01 ff}", {}, "onHidReportDescriptor {01 ff}"},
        {"134: 7, 4, 1, {02}", {}, "onHidEvent {02}"},
        {"134: 7, 4, 0", {}, "onHidEvent {}"},
    };
    Callback first(recorder("1")), second(recorder("2")), third(recorder("3"));
    for (Callback* callback : {&first, &second, &third, &first})
        add(*callback);
    const auto expectRows = [&](const Lines& names) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.notify);
            mLog.take();
            Lines called;
            Lines logged;
            bool traced = false;
            for (const std::string& name : names) {
                if (!row.event.empty()) called.push_back(name + " " + row.event);
            }
            for (const std::string& line : row.log)
                logged.push_back("I/ZRMirvo: " + line);
            const bool managers = row.notify.rfind("130:", 0) == 0;
            EXPECT_TRUE(deliver(managers ? kManagerClient : kInstanceClient, row.notify));
            EXPECT_EQ(calls(), called);
            EXPECT_EQ(lines(&traced), logged);
            EXPECT_EQ(traced, !row.event.empty() || !row.log.empty());
        }
    };
    expectRows({"1", "2", "3"});
    for (int i = 0; i < 2; ++i) {
        mManager->UnregisterCallback(&second);
        mInstance->UnregisterCallback(&second);
    }
    expectRows({"1", "3"});
    deliver(kManagerClient, kServiceLost);
    EXPECT_EQ(calls(), (Lines{"1 onError", "3 onError"}));
    EXPECT_EQ(lines(), Lines{"I/ZRMirvo: errorCode=1\n"});
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
    Callback callback(recorder("1"));
    mInstance->RegisterCallback(&callback);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        mFramework.takeEvents();
        lines();
        deliver(kInstanceClient, "133: 7, 3, " + std::to_string(row.code) + R"(, -1, -1L, ".", 2)");
        EXPECT_EQ(lines(), Lines{"E/ZRMirvo: [errorEvent:LINE] " + std::string(row.line)});
        EXPECT_EQ(mFramework.requests(), row.disconnects ? Lines{kDisconnectRequest} : Lines{});
    }
    EXPECT_EQ(calls(), Lines{});
}

enum class Verb { kAdd, kRemove };

// What the callback A, B or C does when it is called, and who is called in that delivery.
struct Change {
    const char* name;
    char actor;
    std::vector<std::pair<Verb, char>> steps;
    const char* called;
    const char* calledNext;
};

const Change kOwnChanges[] = {
    {"itself, so that the next is skipped", 'A', {{Verb::kRemove, 'A'}}, "AC", "BC"},
    {"itself, in the middle", 'B', {{Verb::kRemove, 'B'}}, "AB", "AC"},
    {"itself, at the end", 'C', {{Verb::kRemove, 'C'}}, "ABC", "AB"},
    {"the neighbour behind it", 'A', {{Verb::kRemove, 'B'}}, "AC", "AC"},
    {"the neighbour before it", 'B', {{Verb::kRemove, 'A'}}, "AB", "BC"},
    {"a new one", 'B', {{Verb::kAdd, 'D'}}, "ABCD", "ABCD"},
    {"all", 'A', {{Verb::kRemove, 'A'}, {Verb::kRemove, 'B'}, {Verb::kRemove, 'C'}}, "A", ""},
    {"nothing new", 'A', {{Verb::kAdd, 'A'}, {Verb::kAdd, 'B'}}, "ABC", "ABC"},
};

const Change kForeignChanges[] = {
    {"who was called already", 'B', {{Verb::kRemove, 'A'}}, "ABC", "BC"},
    {"who comes next", 'B', {{Verb::kRemove, 'C'}}, "AB", "AB"},
    {"a new one", 'B', {{Verb::kAdd, 'D'}}, "ABCD", "ABCD"},
    {"who moves to the end", 'B', {{Verb::kRemove, 'A'}, {Verb::kAdd, 'A'}}, "ABCA", "BCA"},
    {"everybody else", 'B', {{Verb::kRemove, 'A'}, {Verb::kRemove, 'C'}}, "AB", "B"},
};

class DeliveryTest : public CallbacksTest, public testing::WithParamInterface<size_t> {
protected:
    void change(Callback& callback, Verb verb) {
        const auto apply = [&](auto& target) {
            if (verb == Verb::kRemove) return target.UnregisterCallback(&callback);
            EXPECT_TRUE(target.RegisterCallback(&callback));
        };
        if (GetParam() == kManagerClient) return apply(*mManager);
        apply(*mInstance);
    }

    // Makes the change inside the delivery, either in the callback itself or, while the callback
    // waits for it, on a thread of its own.
    void run(const Change& row, bool foreign) {
        SCOPED_TRACE(row.name);
        std::string called;
        bool armed = true;
        std::vector<std::unique_ptr<Callback>> callbacks;
        const auto apply = [&] {
            for (const auto& [verb, name] : row.steps)
                change(*callbacks[static_cast<size_t>(name - 'A')], verb);
        };
        for (const char name : {'A', 'B', 'C', 'D'}) {
            callbacks.push_back(std::make_unique<Callback>([&, name](const std::string&) {
                called += name;
                if (name != row.actor || !std::exchange(armed, false)) return;
                if (foreign) std::thread(apply).join();
                if (!foreign) apply();
            }));
            if (name != 'D') change(*callbacks.back(), Verb::kAdd);
        }
        EXPECT_TRUE(deliverTo(GetParam()));
        EXPECT_EQ(std::exchange(called, ""), row.called);
        EXPECT_TRUE(deliverTo(GetParam()));
        EXPECT_EQ(called, row.calledNext);
        for (const auto& callback : callbacks)
            change(*callback, Verb::kRemove);
    }
};

TEST_P(DeliveryTest, goesAsALoopOverTheIndexDoes) {
    for (const Change& row : kOwnChanges)
        run(row, false);
}

TEST_P(DeliveryTest, isNotDisturbedByOtherThreads) {
    for (const Change& row : kForeignChanges)
        run(row, true);
}

INSTANTIATE_TEST_SUITE_P(Clients, DeliveryTest, testing::Values(kManagerClient, kInstanceClient));

}  // namespace
}  // namespace zrmirvo

#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "accessory/MirvoImpl.h"
#include "accessory/MirvoManager.h"
#include "tests/support/FakeFramework.h"
#include "tests/support/LogCapture.h"

namespace accessory {

using testing_support::FakeFramework;
using testing_support::traced;
using Lines = std::vector<std::string>;

// One call of a proxy's operation, what it sends and expects. What can go wrong is made from this.
template <typename Proxy>
struct Operation {
    const char* name;
    std::function<int(Proxy&)> call;
    // Empty where the operation cannot take the arguments.
    std::string request = {};
    int reply = 129;
    // What the call returns, and the line that it writes, when the service's result is 77.
    int refused = 77;
    const char* refusedLine = "";
};

// The call of an operation with these arguments.
template <typename Call, typename... Arguments>
auto with(Call call, Arguments... arguments) {
    return [=](auto& proxy) { return (proxy.*call)(arguments...); };
}

// A notifier that puts what it is told among the framework's events.
template <typename Notifier>
class Recording : public Notifier {
public:
    explicit Recording(FakeFramework& framework) : mFramework(framework) {}
    ~Recording() override {
        if (gone) gone();
    }

    // Run in every call, and when this goes.
    std::function<void()> during;
    std::function<void()> gone;

protected:
    template <typename... Values>
    void record(std::string call, Values... values) {
        ((call += " " + std::to_string(values)), ...);
        mFramework.record(call);
        if (during) during();
    }
    void recordBytes(const std::string& call, const unsigned char* data, size_t length) {
        record(call + " " + testing_support::bufferText(data, length));
    }

private:
    FakeFramework& mFramework;
};

class ManagerNotifier final : public Recording<MirvoManagerNotifier> {
public:
    using Recording::Recording;

    void error(int code) override { record("error", code); }
    void attach(unsigned int id) override { record("attach", id); }
    void detach(unsigned int id) override { record("detach", id); }
    void videoEstablished(unsigned int id) override { record("videoEstablished", id); }
};

class DeviceNotifier final : public Recording<MirvoNotifier> {
public:
    using Recording::Recording;

    void runningStateChange(int state) override { record("runningStateChange", state); }
    void controlUnavailable() override { record("controlUnavailable"); }
    void screenOrientationChange(int value) override { record("screenOrientationChange", value); }
    void deviceRequest(MVDeviceRequest& r) override {
        if (r.type == MVDeviceRequest::kBytes)
            return recordBytes("deviceRequest", r.data, static_cast<size_t>(r.dataLength));
        record("deviceRequest", r.type, r.param1, r.param2);
    }
    void deviceResponse(MVDeviceResponse& r) override {
        record("deviceResponse", r.type, r.date1, r.date2, r.date3, r.hour, r.minute, r.second,
               r.fraction, r.week, r.dayOfWeek);
    }
    void hidReportDescriptor(unsigned char* data, unsigned int length) override {
        recordBytes("hidReportDescriptor", data, length);
    }
    void hidEvent(unsigned char* data, unsigned int length) override {
        recordBytes("hidEvent", data, length);
    }
    void errorEvent(int code) override { record("errorEvent", code); }
};

// The two proxies, for what is the same for both.
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

using Sides = testing::Types<Manager, Device>;

template <typename Side>
class ProxyTest : public testing::Test {
protected:
    using Proxy = typename Side::Proxy;
    using Notifier = typename Side::Notifier;

    static constexpr int kUntouched = 99;

    ProxyTest() { framework.answer(reply(129)); }

    // A reply of every class.
    static std::string reply(int code, int result = 0) {
        if (code == 130) return "130: 2, 11, 12";
        if (code == 133) return R"(133: "3.6.1")";
        return std::to_string(code) + ": " + std::to_string(result) +
               (code == 129 ? R"(, 5, 6L, "text")" : ", 2, {0a 0b}");
    }

    // Makes the calls under every fault, also to a proxy that has no client.
    void checkOperations(const std::vector<Operation<Proxy>>& operations) {
        const std::map<int, std::string> kNames = {
            {129, "COMMON"}, {130, "ACCESSORY_IDS"}, {131, "RAW_DATA"}, {133, "VERSION"}};
        const sp<Proxy> bare = unbound(Side::make);
        for (const auto& operation : operations) {
            SCOPED_TRACE(operation.name + (" " + operation.request));
            if (operation.request.empty()) {
                for (const sp<Proxy>& callee : {proxy, bare})
                    check(operation, callee.get(), reply(129), 1, "illegal parameter!\n", false);
                continue;
            }
            check(operation, proxy.get(), reply(operation.reply), 0);
            check(operation, proxy.get(), reply(operation.reply, 77), operation.refused,
                  operation.refusedLine);
            for (const auto& row : kNames) {
                if (row.first == operation.reply) continue;
                check(operation, proxy.get(), reply(row.first), 1,
                      "reply  type error target :MVServiceReply::" + kNames.at(operation.reply) +
                          " curr: " + std::to_string(row.first) + " \n");
            }
            check(operation, proxy.get(), "", 1, "reply is null return\n");
            checkRelease(operation);
            check(operation, bare.get(), reply(operation.reply), 1,
                  "mServiceClient is null return\n", false);
        }
    }

    // Calls an operation that answers with bytes, and checks that it hands out the two of reply()
    // and their number or, failing, leaves both alone. The manager clears the number as it sends.
    template <typename... Parameters, typename... Arguments>
    auto checkBytes(int (Proxy::*cook)(Parameters...), Arguments... arguments) {
        return [=](Proxy& callee) {
            unsigned char untouched = 0;
            unsigned char* out = &untouched;
            int length = kUntouched;
            const int result = (callee.*cook)(arguments..., &out, &length);
            const bool cleared =
                std::is_same_v<Proxy, MirvoManager> && !framework.requests().empty();
            EXPECT_EQ(length, result != 1 ? 2 : cleared ? 0 : kUntouched);
            EXPECT_EQ(out == &untouched, result == 1);
            if (out == &untouched) return result;
            EXPECT_EQ(testing_support::bufferText(out, 2), "{0a 0b}");
            delete[] out;
            return result;
        };
    }

    // Delivers to the client that was bound first, and answers what came of it.
    Lines eventsOf(const std::string& notification) {
        framework.takeEvents();
        log.take();
        EXPECT_TRUE(framework.notify(0, notification));
        return framework.takeEvents();
    }

    // What is made while there is no service.
    template <typename Make>
    auto unbound(Make make) {
        framework.onBind([] { return false; });
        const auto made = make();
        framework.onBind(nullptr);
        return made;
    }

    sp<Notifier> notifier() { return new Notifier(framework); }

    FakeFramework framework;
    testing_support::LogCapture log;
    const std::string tag = Side::kTag;
    // Its client is 0.
    sp<Proxy> proxy = Side::make();

private:
    // Releases a proxy in the first line that its operation logs.
    void checkRelease(const Operation<Proxy>& operation) {
        sp<Proxy> released = Side::make();
        Proxy& callee = *released;
        framework.answer(reply(operation.reply));
        framework.takeEvents();
        log.onLine([&](const std::string&) { released.clear(); });
        EXPECT_EQ(operation.call(callee), 0);
        log.onLine(nullptr);
        EXPECT_EQ(framework.requests(), Lines{operation.request});
    }

    void check(const Operation<Proxy>& operation, Proxy* callee, const std::string& answer,
               int result, const std::string& line = "", bool sends = true) {
        framework.answer(answer);
        framework.takeEvents();
        log.take();
        EXPECT_EQ(operation.call(*callee), result);
        EXPECT_EQ(framework.requests(), sends ? Lines{operation.request} : Lines());
        Lines lines = line.empty() ? Lines() : Lines{"E/" + tag + ": " + line};
        // One writes no trace.
        if (operation.name != std::string("cookTouchEvent"))
            lines = traced(tag, operation.name, {lines});
        EXPECT_EQ(log.take(tag), lines);
    }
};

}  // namespace accessory

#pragma once

#include <gtest/gtest.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakeFramework.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"

// What the tests of the facade share: a service that answers, a callback that says what it was
// called with, and all operations in a table.

namespace zrmirvo {

using testing_support::Gate;
using testing_support::Signal;
using testing_support::traced;
using Lines = std::vector<std::string>;

constexpr unsigned int kAccessory = 7;

// The clients in the order in which they are bound: the manager's, and one for each instance.
constexpr size_t kManagerClient = 0;
constexpr size_t kInstanceClient = 1;

constexpr const char* kDone = R"(129: 0, -1, -1L, ".")";
constexpr const char* kAttached = "130: 1, 7";
constexpr const char* kServiceLost = "-1: 2";
constexpr const char* kStateChange = R"(133: 7, 1, 3, -1, -1L, ".", 2)";
constexpr const char* kTransportFatal = R"(133: 7, 3, -2, -1, -1L, ".", 2)";
constexpr const char* kDisconnectRequest = R"(131: 3, -1, -1L, "", 0)";

// What is no manager.
ZRMirvoManager* const kForeign = reinterpret_cast<ZRMirvoManager*>(uintptr_t{16});

// Answers every request with success, and a version of 3.6.1.
std::string healthyService(const std::string& request);

// Calls an operation that hands out bytes. What comes must be an array of its own with the bytes 1
// and 2, or nothing when the operation fails.
int cook(const std::function<int(char** out, int* length)>& operation);

// For the manager and for instances.
class Callback final : public ZRMirvoManagerCallback, public ZRMirvoCallback {
public:
    using Call = std::function<void(const std::string& event)>;

    explicit Callback(Call call) : mCall(std::move(call)) {}

    void onError() override { tell("onError"); }
    void onAttach(unsigned int accessoryId) override { tell("onAttach", accessoryId); }
    void onDetach(unsigned int accessoryId) override { tell("onDetach", accessoryId); }
    void onRunningStateChange(int state) override { tell("onRunningStateChange", state); }
    void onControlUnavailable() override { tell("onControlUnavailable"); }
    void onDeviceRequestData(unsigned char* data, int dataLength) override {
        tellBytes("onDeviceRequestData", data, static_cast<size_t>(dataLength));
    }
    void onDeviceRequest(int param1, int param2) override {
        tell("onDeviceRequest", param1, param2);
    }
    void onScreenOrientationChange(int value) override { tell("onScreenOrientationChange", value); }
    void onReserved() override { tell("onReserved"); }
    void onTimeDateResponse(const ZRMirvoTimeDate* t) override {
        tell("onTimeDateResponse", t->date1, t->date2, t->date3, t->hour, t->minute, t->second,
             t->fraction, t->week, t->dayOfWeek);
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override {
        tellBytes("onHidReportDescriptor", data, length);
    }
    void onHidEvent(unsigned char* data, unsigned int length) override {
        tellBytes("onHidEvent", data, length);
    }
    void onDeviceResponse() override { tell("onDeviceResponse"); }

private:
    template <typename... Values>
    void tell(std::string event, Values... values) {
        ((event += " " + std::to_string(values)), ...);
        mCall(event);
    }
    void tellBytes(const std::string& event, const unsigned char* data, size_t length) {
        mCall(event + " " + testing_support::bufferText(data, length));
    }

    const Call mCall;
};

// One operation that asks the service: what it sends, the class of its answer, and what it gives
// when the service answers with the result 5. connect() and disconnect() give 0 whatever happens.
struct Operation {
    bool givesNothing() const { return replyType == 129 && refused == 0; }
    bool ofManager() const { return std::string(request).rfind("131:", 0) == 0; }

    const char* name;
    std::function<int(ZRMirvoManager& manager, ZRMirvo& instance)> call;
    const char* request;
    int replyType = 129;
    int refused = 5;
};
extern const std::vector<Operation> kOperations;

class FacadeTest : public testing::Test {
protected:
    FacadeTest() { mFramework.onRequest(healthyService); }
    ~FacadeTest() override { release(); }

    // Obtains what there is not: the manager, and an instance for accessory 7. From here on the
    // service is healthy, and its version is known.
    void obtain();
    // Release what there is, and forget it first.
    void release();
    void releaseInstance() { mManager->ReleaseMirvoInstance(std::exchange(mInstance, nullptr)); }
    // Registers with the manager and the instance.
    void add(Callback& callback) {
        EXPECT_TRUE(mManager->RegisterCallback(&callback));
        EXPECT_TRUE(mInstance->RegisterCallback(&callback));
    }
    // Holds the first request that begins with `start` at the gate.
    void hold(const std::string& start, Gate& gate);
    // The lines of the facade that are not those of its call trace, without line numbers. Says in
    // `traced`, unless that is null, whether there was a call trace.
    Lines lines(bool* traced = nullptr);
    bool deliver(size_t client, const std::string& message) {
        return mFramework.notify(client, message);
    }
    bool deliverTo(size_t client) {
        return deliver(client, client == kManagerClient ? kAttached : kStateChange);
    }

    testing_support::FakeFramework mFramework;
    testing_support::LogCapture mLog;
    ZRMirvoManager* mManager = nullptr;
    ZRMirvo* mInstance = nullptr;
};

}  // namespace zrmirvo

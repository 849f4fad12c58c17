#pragma once

#include <gtest/gtest.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/FakeFramework.h"
#include "tests/support/LogCapture.h"

// What the tests of the facade share: a service that answers, callbacks that say what they were
// called with, and all operations in a table.

namespace zrmirvo {

constexpr unsigned int kAccessory = 7;

// The clients in the order in which they are bound: the manager's, that of the version query in the
// first GetInstance, and one for each instance from there on.
constexpr size_t kManagerClient = 0;
constexpr size_t kInstanceClient = 2;

constexpr const char* kDone = "129: 0, -1, -1L, \".\"";
constexpr const char* kAttached = "130: 1, 7";
constexpr const char* kServiceLost = "-1: 2";
constexpr const char* kStateChange = "133: 7, 1, 3, -1, -1L, \".\", 2";
constexpr const char* kTransportFatal = "133: 7, 3, -2, -1, -1L, \".\", 2";
constexpr const char* kDisconnectRequest = "131: 3, -1, -1L, \"\", 0";

// Answers every request with success, and a version of 3.6.1.
std::string healthyService(const std::string& request);

using Call = std::function<void(const std::string& event)>;

class ManagerCallback final : public ZRMirvoManagerCallback {
public:
    explicit ManagerCallback(Call call) : mCall(std::move(call)) {}
    void onError() override;
    void onAttach(unsigned int accessoryId) override;
    void onDetach(unsigned int accessoryId) override;

private:
    const Call mCall;
};

class DeviceCallback final : public ZRMirvoCallback {
public:
    explicit DeviceCallback(Call call) : mCall(std::move(call)) {}
    void onRunningStateChange(int state) override;
    void onControlUnavailable() override;
    void onDeviceRequestData(unsigned char* data, int dataLength) override;
    void onDeviceRequest(int param1, int param2) override;
    void onScreenOrientationChange(int orientation) override;
    void onReserved() override;
    void onTimeDateResponse(const ZRMirvoTimeDate* timeDate) override;
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override;
    void onHidEvent(unsigned char* data, unsigned int length) override;
    void onDeviceResponse() override;

private:
    const Call mCall;
};

// One operation that asks the service: the class of its answer, what it sends, and what it gives
// when the service answers with the result 5. connect() and disconnect() give 0 whatever happens.
struct Operation {
    const char* name;
    int replyType;
    const char* request;
    int refused;
    std::function<int(ZRMirvoManager& manager, ZRMirvo& instance)> call;
};
extern const std::vector<Operation> kOperations;
constexpr const char* kNoResult[] = {"connect", "disconnect"};

class FacadeTest : public testing::Test {
protected:
    FacadeTest() { mFramework.onRequest(healthyService); }
    ~FacadeTest() override { release(); }

    // Obtains the manager, and an instance for accessory 7.
    void obtain();
    // Releases the manager, unless a test has done it and forgotten it.
    void release();
    // The lines of the facade that are not those of its call trace, without line numbers.
    std::vector<std::string> lines();
    bool deliver(size_t client, const char* message) { return mFramework.notify(client, message); }

    testing_support::FakeFramework mFramework;
    testing_support::LogCapture mLog;
    ZRMirvoManager* mManager = nullptr;
    ZRMirvo* mInstance = nullptr;
};

using Lines = std::vector<std::string>;

}  // namespace zrmirvo

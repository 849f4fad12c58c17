#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <functional>
#include <utility>

namespace integration {

// Counts the events that the tests wait for. `before` runs inside each state change.
class Counter final : public zrmirvo::ZRMirvoManagerCallback, public zrmirvo::ZRMirvoCallback {
public:
    explicit Counter(std::function<void()> before = [] {}) : mBefore(std::move(before)) {}

    std::atomic<int> errors{0};
    std::atomic<unsigned int> attached{0};
    std::atomic<int> states{0};

    void onError() override { ++errors; }
    void onAttach(unsigned int accessoryId) override { attached = accessoryId; }
    void onDetach(unsigned int) override {}
    void onRunningStateChange(int) override {
        mBefore();
        ++states;
    }
    void onControlUnavailable() override {}
    void onDeviceRequestData(unsigned char*, int) override {}
    void onDeviceRequest(int, int) override {}
    void onScreenOrientationChange(int) override {}
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate*) override {}
    void onHidReportDescriptor(unsigned char*, unsigned int) override {}
    void onHidEvent(unsigned char*, unsigned int) override {}
    void onDeviceResponse() override {}

private:
    const std::function<void()> mBefore;
};

}  // namespace integration

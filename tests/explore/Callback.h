#pragma once

#include <zrmirvo/ZRMirvoCallback.h>

#include <functional>

#include "tests/explore/Explorer.h"

namespace explorer {

// A callback of manager and instances that knows whether it runs. After end() it must not.
class Callback final : public zrmirvo::ZRMirvoManagerCallback, public zrmirvo::ZRMirvoCallback {
public:
    explicit Callback(std::function<void()> call = {}) : mCall(std::move(call)) {}

    void onError() override { run(); }
    void onAttach(unsigned int) override { run(); }
    void onDetach(unsigned int) override { run(); }
    void onRunningStateChange(int) override { run(); }
    void onControlUnavailable() override { run(); }
    void onDeviceRequestData(unsigned char*, int) override { run(); }
    void onDeviceRequest(int, int) override { run(); }
    void onScreenOrientationChange(int) override { run(); }
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate*) override { run(); }
    void onHidReportDescriptor(unsigned char*, unsigned int) override { run(); }
    void onHidEvent(unsigned char*, unsigned int) override { run(); }
    void onDeviceResponse() override { run(); }

    // What called this has promised that the callback does not run and will not.
    void end() {
        require(mRunning == 0, "a callback runs although it has been waited for");
        mEnded = true;
    }
    int calls() const { return mCalls; }

private:
    void run() {
        require(!mEnded, "a callback is called after its end");
        ++mRunning;
        ++mCalls;
        point("is in a callback");
        if (mCall) mCall();
        require(!mEnded, "a callback has been ended while it ran");
        --mRunning;
    }

    const std::function<void()> mCall;
    int mRunning = 0;
    int mCalls = 0;
    bool mEnded = false;
};

}  // namespace explorer

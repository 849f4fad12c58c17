#pragma once

#include <zrmirvo/ZRMirvo.h>
#include <zrmirvo/ZRMirvoCallback.h>

#include <cstddef>
#include <memory>
#include <utility>

#include "../Types.h"
#include "Handler.h"
#include "QueueCore.h"

namespace zrmirvo::detail {

class Request;
class SessionCore;

// One phone, from its attachment until it is gone. Other phones may have the same number before and
// after it. As a callback it is called on the loop's thread.
class PhoneState final : public ZRMirvoCallback {
public:
    PhoneState(std::shared_ptr<SessionCore> session, unsigned int id)
        : mSession(std::move(session)), mId(id) {}
    PhoneState(const PhoneState&) = delete;
    PhoneState& operator=(const PhoneState&) = delete;

    void onRunningStateChange(int state) override { mHandlers.runningState(state); }
    void onControlUnavailable() override { mHandlers.controlUnavailable(); }
    void onDeviceRequestData(unsigned char* data, int dataLength) override {
        mHandlers.deviceRequestData(ByteSpan(data, static_cast<size_t>(dataLength)));
    }
    void onDeviceRequest(int param1, int param2) override {
        mHandlers.deviceRequest(param1, param2);
    }
    void onScreenOrientationChange(int orientation) override {
        mHandlers.screenOrientation(orientation);
    }
    void onTimeDateResponse(const ZRMirvoTimeDate* timeDate) override {
        mHandlers.timeDate(*timeDate);
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override {
        mHandlers.hidDescriptor(ByteSpan(data, length));
    }
    void onHidEvent(unsigned char* data, unsigned int length) override {
        mHandlers.hidEvent(ByteSpan(data, length));
    }
    void onDeviceResponse() override { mHandlers.deviceResponse(); }

    // The following are called on the loop's thread, too.

    // Sets a handler, or drops it if the phone is gone.
    template <typename Kind, typename Function>
    void set(Kind kind, Function&& function) {
        if (!mEnded) (mHandlers.*kind).set(std::forward<Function>(function));
    }

    void tellGone() { mHandlers.gone(); }

    // Destroys the handlers. They may hold their own phone, which would otherwise never be
    // destroyed.
    void clear() {
        mEnded = true;
        const Handlers cleared = std::exchange(mHandlers, {});
    }

    struct Handlers {
        Handler<int> runningState;
        Handler<> controlUnavailable;
        Handler<ByteSpan> deviceRequestData;
        Handler<int, int> deviceRequest;
        Handler<int> screenOrientation;
        Handler<const TimeDate&> timeDate;
        Handler<ByteSpan> hidDescriptor;
        Handler<ByteSpan> hidEvent;
        Handler<> deviceResponse;
        Handler<> gone;
    };

    const std::shared_ptr<SessionCore> mSession;
    const unsigned int mId;

    // Guarded by the session's lock: the request that was queued last, if it still waits, and
    // whether further requests are refused.
    std::shared_ptr<Request> mLast;
    bool mGone = false;

    // Belongs to the session's thread. Null once the phone is gone.
    ZRMirvo* mInstance = nullptr;

private:
    // Belong to the loop's thread.
    bool mEnded = false;
    Handlers mHandlers;
};

// The last event of a phone. Whether it is run or dropped, the phone's handlers are destroyed with
// it, on the loop's thread.
class GoneEvent final : public Event {
public:
    explicit GoneEvent(std::shared_ptr<PhoneState> phone) : mPhone(std::move(phone)) {}
    ~GoneEvent() override { mPhone->clear(); }
    void run() override { mPhone->tellGone(); }

private:
    const std::shared_ptr<PhoneState> mPhone;
};

}  // namespace zrmirvo::detail

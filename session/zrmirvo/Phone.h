#pragma once

#include <zrmirvo/ZRMirvo.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Pending.h"
#include "Status.h"
#include "Types.h"
#include "detail/Operation.h"
#include "detail/PhoneState.h"

namespace zrmirvo {

// One projected phone, from its attachment until it is gone. Session::onPhone hands it over. When
// the same phone comes back, it is another Phone.
//
// Threads: handlers are set on the thread that dispatches, and run and are destroyed there. All
// other operations are thread-safe.
//
// Ownership: a small value. Copies stand for the same phone, and the phone's own handlers may hold
// some. They may outlive the phone and the session. After that, a handler that is set is dropped at
// once, and requests end with Status::Code::Gone.
//
// Requests: each returns at once. The session's own thread makes them in the order in which they
// were asked for.
class Phone {
public:
    // Made by Session only.
    explicit Phone(std::shared_ptr<detail::PhoneState> state) : mState(std::move(state)) {}
    // There is no empty one, so a moved one is a copy.
    Phone(const Phone&) = default;
    // Stands for the other phone from here on.
    Phone& operator=(const Phone&) = default;

    // The number by which the service knows it.
    unsigned int id() const { return mState->mId; }

    // Whether both stand for the same phone, from attachment to end.
    friend bool operator==(const Phone& a, const Phone& b) { return a.mState == b.mState; }
    // Whether they stand for different ones.
    friend bool operator!=(const Phone& a, const Phone& b) { return a.mState != b.mState; }

    // Handlers. Each replaces the one that was set before; null removes it. A handler may replace
    // itself.

    // The running state changed, in the service's numbering.
    void onRunningState(std::function<void(int state)> run) const {
        mState->set(&Handlers::runningState, std::move(run));
    }
    // The phone cannot be controlled at present.
    void onControlUnavailable(std::function<void()> run) const {
        mState->set(&Handlers::controlUnavailable, std::move(run));
    }
    // The phone requests something and sends at most 36 bytes with it.
    void onDeviceRequestData(std::function<void(ByteSpan data)> run) const {
        mState->set(&Handlers::deviceRequestData, std::move(run));
    }
    // The phone requests something that two numbers describe.
    void onDeviceRequest(std::function<void(int param1, int param2)> run) const {
        mState->set(&Handlers::deviceRequest, std::move(run));
    }
    // The orientation of the phone's screen changed, in the service's numbering.
    void onScreenOrientation(std::function<void(int orientation)> run) const {
        mState->set(&Handlers::screenOrientation, std::move(run));
    }
    // The answer to timeDateInquiry().
    void onTimeDate(std::function<void(const TimeDate& timeDate)> run) const {
        mState->set(&Handlers::timeDate, std::move(run));
    }
    // The phone sends a HID report descriptor.
    void onHidReportDescriptor(std::function<void(ByteSpan descriptor)> run) const {
        mState->set(&Handlers::hidDescriptor, std::move(run));
    }
    // The phone sends a HID event.
    void onHidEvent(std::function<void(ByteSpan event)> run) const {
        mState->set(&Handlers::hidEvent, std::move(run));
    }
    // The phone answered a request without further data.
    void onDeviceResponse(std::function<void()> run) const {
        mState->set(&Handlers::deviceResponse, std::move(run));
    }
    // The phone has been detached, or its service is lost. No event comes after this one, and all
    // handlers of the phone are destroyed after it. Events that the service sent right before may
    // be missing, since events of phones and events of the service come over different connections.
    void onGone(std::function<void()> run) const { mState->set(&Handlers::gone, std::move(run)); }

    // Requests. The operation of ZRMirvo that does the same says what is not said here.

    // Sends a key.
    Pending<Status> key(KeyCode key, Press press) const {
        return status(
            [=](ZRMirvo& phone) { return phone.sendKeyEvent(key.value(), press == Press::Down); });
    }

    // Sends a touch with any number of pointers. `time` and `extra` reach the service unchanged. A
    // move replaces the request that was queued last for this phone, if that is a move of the same
    // pointers and has not been sent yet. Both then end with the status of the one that is sent.
    Pending<Status> touch(ActionCode action, const std::vector<Point>& points,
                          unsigned long long time = 0, int extra = 0) const {
        return detail::submit<Status>(std::make_shared<detail::Touch>(
            mState->mSession, mState, time, action.value(), points, extra));
    }

    // Sends a calibration event.
    Pending<Status> calibrate() const {
        return status([](ZRMirvo& phone) { return phone.sendCalibrateEvent(); });
    }

    // As key(), but the service turns the event into bytes and hands them back.
    Pending<Result<Bytes>> cookKey(KeyCode key, Press press) const {
        return bytes([=](ZRMirvo& phone, char** out, int* length) {
            return phone.cookKeyEvent(key.value(), press == Press::Down, out, length);
        });
    }
    // As touch(), with the bytes of cookKey().
    Pending<Result<Bytes>> cookTouch(ActionCode action, const std::vector<Point>& points,
                                     unsigned long long time = 0, int extra = 0) const {
        return bytes(
            [=, numbers = detail::TouchNumbers(points)](ZRMirvo& phone, char** out, int* length) {
                return phone.cookTouchEvent(time, numbers.count(), numbers.ids(), numbers.x(),
                                            numbers.y(), action.value(), extra, out, length);
            });
    }
    // As calibrate(), with the bytes of cookKey().
    Pending<Result<Bytes>> cookCalibrate() const {
        return bytes([](ZRMirvo& phone, char** out, int* length) {
            return phone.cookCalibrateEvent(out, length);
        });
    }

    // Does nothing, and succeeds.
    Pending<Status> appTouch(ActionCode action, const std::vector<Point>& points,
                             unsigned long long time = 0, int extra = 0) const {
        return status([=, numbers = detail::TouchNumbers(points)](ZRMirvo& phone) {
            return phone.sendAppTouchEvent(time, numbers.count(), numbers.ids(), numbers.x(),
                                           numbers.y(), action.value(), extra);
        });
    }
    // As appTouch().
    Pending<Status> appKey(KeyCode key, Press press) const {
        return status([=](ZRMirvo& phone) {
            return phone.sendAppKeyEvent(key.value(), press == Press::Down);
        });
    }

    // Forces the phone's screen into landscape orientation, or no longer.
    Pending<Status> forceLandscape(bool on) const {
        return status([=](ZRMirvo& phone) { return phone.sendForceLandscape(on); });
    }
    // Gives or takes the video focus; both values are the service's.
    Pending<Status> videoFocus(int focus, bool flag) const {
        return status([=](ZRMirvo& phone) { return phone.sendVideoFocus(focus, flag); });
    }
    // Tells the phone whether the head unit is ready for pairing.
    Pending<Status> readyForPairing(bool ready) const {
        return status([=](ZRMirvo& phone) { return phone.sendOnReadyForPairing(ready); });
    }
    // Asks for the phone's date and time; the answer comes to onTimeDate.
    Pending<Status> timeDateInquiry() const {
        return status([](ZRMirvo& phone) { return phone.sendTimeDateInquiry(); });
    }
    // Describes the display; the meaning of the values is the service's.
    Pending<Status> displayConfiguration(int value1, int value2, int value3, int value4,
                                         int value5) const {
        return status([=](ZRMirvo& phone) {
            return phone.sendDisplayConfiguration(value1, value2, value3, value4, value5);
        });
    }
    // Sets a feature to the bytes, which are copied.
    Pending<Status> feature(unsigned int number, ByteSpan bytes) const {
        constexpr size_t kMost = 2'147'483'647;
        const char* fault = bytes.size() > kMost ? "a feature has more bytes than fit" : nullptr;
        auto set = [number,
                    data = fault == nullptr ? Bytes(bytes) : Bytes()](ZRMirvo& phone) mutable {
            return phone.setFeature(number, data.data(), static_cast<unsigned int>(data.size()));
        };
        return status(std::move(set), fault);
    }

private:
    using Handlers = detail::PhoneState::Handlers;

    template <typename T, typename Call>
    Pending<T> send(Call call, const char* fault = nullptr) const {
        return detail::submit<T>(
            std::make_shared<detail::Operation<T, Call>>(mState->mSession, mState, std::move(call)),
            fault);
    }

    // A request that makes the call `call(phone)`, which returns a status.
    template <typename Call>
    Pending<Status> status(Call call, const char* fault = nullptr) const {
        return send<Status>(
            [call = std::move(call)](ZRMirvoManager& /*manager*/, ZRMirvo* phone) mutable {
                return Status::ofResult(call(*phone));
            },
            fault);
    }

    // The same for a call that also hands over bytes.
    template <typename Call>
    Pending<Result<Bytes>> bytes(Call call) const {
        return send<Result<Bytes>>(
            [call = std::move(call)](ZRMirvoManager& /*manager*/, ZRMirvo* phone) {
                detail::BytesOut out;
                return out.with(call(*phone, out.data(), out.length()));
            });
    }

    std::shared_ptr<detail::PhoneState> mState;
};

}  // namespace zrmirvo

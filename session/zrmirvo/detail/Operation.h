#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../Pending.h"
#include "../Status.h"
#include "../Types.h"
#include "SessionCore.h"

namespace zrmirvo::detail {

// A request that makes one call of the library: `call(manager, instance)`, which returns a T.
template <typename T, typename Call>
class Operation final : public Outcome<T> {
public:
    Operation(std::shared_ptr<SessionCore> session, std::shared_ptr<PhoneState> phone, Call call)
        : Outcome<T>(std::move(session), std::move(phone)), mCall(std::move(call)) {}

    void perform(ZRMirvoManager& manager, ZRMirvo* instance) override {
        this->finish(mCall(manager, instance));
    }

private:
    Call mCall;
};

// The pointers of a touch, as the library takes them: all ids, then all x, then all y.
class TouchNumbers {
public:
    explicit TouchNumbers(const std::vector<Point>& points) : mCount(points.size()) {
        mNumbers.reserve(3 * mCount);
        for (unsigned int Point::*field : {&Point::id, &Point::x, &Point::y}) {
            for (const Point& point : points)
                mNumbers.push_back(point.*field);
        }
    }

    int count() const { return static_cast<int>(mCount); }
    const unsigned int* ids() const { return mNumbers.data(); }
    const unsigned int* x() const { return mNumbers.data() + mCount; }
    const unsigned int* y() const { return mNumbers.data() + 2 * mCount; }

    bool samePointers(const TouchNumbers& other) const {
        return mCount == other.mCount && std::equal(ids(), x(), other.ids());
    }

private:
    size_t mCount;
    std::vector<unsigned int> mNumbers;
};

// A touch. As long as it has not been sent, a later move can replace it.
class Touch final : public Outcome<Status> {
public:
    Touch(std::shared_ptr<SessionCore> session, std::shared_ptr<PhoneState> phone,
          unsigned long long time, int action, const std::vector<Point>& points, int extra)
        : Outcome(std::move(session), std::move(phone)),
          mTime(time),
          mAction(action),
          mExtra(extra),
          mNumbers(points) {}

    void perform(ZRMirvoManager& /*manager*/, ZRMirvo* instance) override {
        finish(Status::ofResult(instance->sendTouchEvent(
            mTime, mNumbers.count(), mNumbers.ids(), mNumbers.x(), mNumbers.y(), mAction, mExtra)));
    }

    bool takeOver(Request& later) override {
        Touch* touch = later.touch();
        const bool same = touch != nullptr && moves() && touch->moves() &&
                          mExtra == touch->mExtra && mNumbers.samePointers(touch->mNumbers);
        if (!same) return false;
        mTime = touch->mTime;
        mNumbers = std::move(touch->mNumbers);
        return true;
    }
    Touch* touch() override { return this; }

private:
    bool moves() const { return mAction == static_cast<int>(TouchAction::Move); }

    unsigned long long mTime;
    const int mAction;
    const int mExtra;
    TouchNumbers mNumbers;
};

// A setting, a start or a stop. The session's thread handles these itself, since it has to remember
// them.
class Control final : public Outcome<Status> {
public:
    enum class What { ConfigFile, BluetoothConfig, Connect, Disconnect, Startup, Shutdown };

    Control(std::shared_ptr<SessionCore> session, What what, std::string text = "", int value = 0)
        : Outcome(std::move(session)), mWhat(what), mText(std::move(text)), mValue(value) {}

    Control* control() override { return this; }
    bool setting() const { return mWhat <= What::Connect; }
    What what() const { return mWhat; }
    const std::string& text() const { return mText; }

    // Makes only the call.
    Status call(ZRMirvoManager& manager) const {
        switch (mWhat) {
            case What::ConfigFile:
                return Status::ofResult(manager.setConfigFile(mText.c_str()));
            case What::BluetoothConfig:
                return Status::ofResult(manager.setBluetoothConfig(mText.c_str(), mValue));
            case What::Connect:
                manager.connect(mText.c_str());
                break;
            case What::Disconnect:
                manager.disconnect(mText.c_str());
                break;
            case What::Startup:
                return Status::ofResult(manager.startup());
            case What::Shutdown:
                return Status::ofResult(manager.shutdown());
        }
        return Status(Status::Code::Done);
    }

    void perform(ZRMirvoManager& manager, ZRMirvo* /*instance*/) override { finish(call(manager)); }

private:
    const What mWhat;
    const std::string mText;
    const int mValue;
};

// Queues a request, or, when `fault` is not null, ends it at once with this reason.
template <typename T>
Pending<T> submit(const std::shared_ptr<Outcome<T>>& made, const char* fault = nullptr) {
    if (fault == nullptr) {
        return Pending<T>(std::static_pointer_cast<Outcome<T>>(made->session().enqueue(made)));
    }
    made->refuse(Status(Status::Code::Refused, fault));
    return Pending<T>(made);
}

// Receives the bytes that the library hands over with an array.
class BytesOut {
public:
    ~BytesOut() { delete[] mData; }
    BytesOut() = default;
    BytesOut(const BytesOut&) = delete;
    BytesOut& operator=(const BytesOut&) = delete;

    char** data() { return &mData; }
    int* length() { return &mLength; }
    Result<Bytes> with(int result) const {
        const bool any = mData != nullptr && mLength > 0;
        return {Status::ofResult(result), ByteSpan(mData, any ? static_cast<size_t>(mLength) : 0)};
    }

private:
    char* mData = nullptr;
    int mLength = 0;
};

}  // namespace zrmirvo::detail

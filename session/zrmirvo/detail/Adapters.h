#pragma once

#include <zrmirvo/ZRMirvoCallback.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "QueueCore.h"

namespace zrmirvo::detail {

// A copy of the bytes of an event. It is not valid when there was no memory for it.
class Copy {
public:
    Copy(const unsigned char* data, size_t length) noexcept
        : mBytes(new (std::nothrow) unsigned char[length + 1]), mLength(length) {
        if (mBytes != nullptr && length > 0) std::memcpy(mBytes.get(), data, length);
    }

    bool valid() const { return mBytes != nullptr; }
    // Never null.
    unsigned char* data() const { return mBytes.get(); }
    size_t length() const { return mLength; }

private:
    std::unique_ptr<unsigned char[]> mBytes;
    size_t mLength;
};

// Passes the events of a `Callback` on to a `Target`, which is some kind of pointer to such a
// callback. Each event holds this pointer until it has run. Delivery threads call this class, so
// nothing in it waits or throws.
template <typename Callback, typename Target>
class Adapter : public Callback {
public:
    Adapter(const Adapter&) = delete;
    Adapter& operator=(const Adapter&) = delete;

protected:
    Adapter(std::shared_ptr<QueueCore> core, Target target) noexcept
        : mCore(std::move(core)), mTarget(std::move(target)) {}
    ~Adapter() = default;

    void drop() { mCore->drop(this); }

    // Called when an event found no room.
    virtual void refused() noexcept {}

    template <typename Call>
    void post(Call call, size_t bytes = 0) noexcept {
        auto event = makeEvent([target = mTarget, call = std::move(call)] { call(*target); });
        if (!mCore->postBounded(std::move(event), this, bytes)) refused();
    }

    template <typename Call>
    void postBytes(const unsigned char* data, size_t length, Call call) noexcept {
        Copy copy(data, length);
        if (copy.valid()) {
            post([copy = std::move(copy), call](Callback& to) { call(to, copy); }, length);
        } else if (!mCore->postBounded(nullptr, this, length)) {
            refused();
        }
    }

private:
    const std::shared_ptr<QueueCore> mCore;
    const Target mTarget;
};

template <typename Target>
class ManagerAdapter : public Adapter<ZRMirvoManagerCallback, Target> {
public:
    void onError() noexcept override {
        this->post([](ZRMirvoManagerCallback& to) { to.onError(); });
    }
    void onAttach(unsigned int accessoryId) noexcept override {
        this->post([accessoryId](ZRMirvoManagerCallback& to) { to.onAttach(accessoryId); });
    }
    void onDetach(unsigned int accessoryId) noexcept override {
        this->post([accessoryId](ZRMirvoManagerCallback& to) { to.onDetach(accessoryId); });
    }

protected:
    using Adapter<ZRMirvoManagerCallback, Target>::Adapter;
    ~ManagerAdapter() = default;
};

template <typename Target>
class PhoneAdapter : public Adapter<ZRMirvoCallback, Target> {
public:
    void onRunningStateChange(int state) noexcept override {
        this->post([state](ZRMirvoCallback& to) { to.onRunningStateChange(state); });
    }
    void onControlUnavailable() noexcept override {
        this->post([](ZRMirvoCallback& to) { to.onControlUnavailable(); });
    }
    void onDeviceRequestData(unsigned char* data, int dataLength) noexcept override {
        const size_t length = dataLength < 0 ? 0 : static_cast<size_t>(dataLength);
        this->postBytes(data, length, [](ZRMirvoCallback& to, const Copy& copy) {
            to.onDeviceRequestData(copy.data(), static_cast<int>(copy.length()));
        });
    }
    void onDeviceRequest(int param1, int param2) noexcept override {
        this->post([param1, param2](ZRMirvoCallback& to) { to.onDeviceRequest(param1, param2); });
    }
    void onScreenOrientationChange(int orientation) noexcept override {
        this->post(
            [orientation](ZRMirvoCallback& to) { to.onScreenOrientationChange(orientation); });
    }
    void onTimeDateResponse(const ZRMirvoTimeDate* timeDate) noexcept override {
        this->post([copy = *timeDate](ZRMirvoCallback& to) { to.onTimeDateResponse(&copy); });
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) noexcept override {
        this->postBytes(data, length, [](ZRMirvoCallback& to, const Copy& copy) {
            to.onHidReportDescriptor(copy.data(), static_cast<unsigned int>(copy.length()));
        });
    }
    void onHidEvent(unsigned char* data, unsigned int length) noexcept override {
        this->postBytes(data, length, [](ZRMirvoCallback& to, const Copy& copy) {
            to.onHidEvent(copy.data(), static_cast<unsigned int>(copy.length()));
        });
    }
    void onDeviceResponse() noexcept override {
        this->post([](ZRMirvoCallback& to) { to.onDeviceResponse(); });
    }

protected:
    using Adapter<ZRMirvoCallback, Target>::Adapter;
    ~PhoneAdapter() = default;
};

}  // namespace zrmirvo::detail

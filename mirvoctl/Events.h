#pragma once

#include <zrmirvo/ZRMirvoCallback.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

#include "mirvoctl/Output.h"

namespace mirvoctl {

// Receives the name of a callback and its fields, on the library's threads.
using EventSink = std::function<void(const std::string& name, const Json& fields)>;

// Hands the events of one accessory to a sink.
class DeviceEvents final : public zrmirvo::ZRMirvoCallback {
public:
    DeviceEvents(uint32_t accessoryId, EventSink sink)
        : mAccessoryId(accessoryId), mSink(std::move(sink)) {}

    void onRunningStateChange(int state) override;
    void onControlUnavailable() override;
    void onDeviceRequestData(unsigned char* data, int dataLength) override;
    void onDeviceRequest(int param1, int param2) override;
    void onScreenOrientationChange(int orientation) override;
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate* timeDate) override;
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override;
    void onHidEvent(unsigned char* data, unsigned int length) override;
    void onDeviceResponse() override;

private:
    void put(const char* name, std::initializer_list<Json> values);
    void putBytes(const char* name, const void* data, size_t length);

    const uint32_t mAccessoryId;
    const EventSink mSink;
};

}  // namespace mirvoctl

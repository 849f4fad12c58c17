#include "mirvoctl/Events.h"

#include "tool/EventTable.h"
#include "tool/Text.h"

namespace mirvoctl {

void DeviceEvents::put(const char* name, std::initializer_list<Json> values) {
    mSink(name, tool::eventFields(*tool::findEvent(name), values));
}

void DeviceEvents::putBytes(const char* name, const void* data, size_t length) {
    Json fields =
        tool::eventFields(*tool::findEvent(name), {mAccessoryId, tool::toHex(data, length)});
    fields["text"] = printable(data, length);
    mSink(name, fields);
}

void DeviceEvents::onRunningStateChange(int state) {
    put("onRunningStateChange", {mAccessoryId, state});
}

void DeviceEvents::onControlUnavailable() {
    put("onControlUnavailable", {mAccessoryId});
}

void DeviceEvents::onDeviceRequestData(unsigned char* data, int dataLength) {
    putBytes("onDeviceRequestData", data, static_cast<size_t>(dataLength));
}

void DeviceEvents::onDeviceRequest(int param1, int param2) {
    put("onDeviceRequest", {mAccessoryId, param1, param2});
}

void DeviceEvents::onScreenOrientationChange(int orientation) {
    put("onScreenOrientationChange", {mAccessoryId, orientation});
}

void DeviceEvents::onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate* timeDate) {
    put("onTimeDateResponse", {mAccessoryId, timeDate->date1, timeDate->date2, timeDate->date3,
                               timeDate->hour, timeDate->minute, timeDate->second,
                               timeDate->fraction, timeDate->week, timeDate->dayOfWeek});
}

void DeviceEvents::onHidReportDescriptor(unsigned char* data, unsigned int length) {
    putBytes("onHidReportDescriptor", data, length);
}

void DeviceEvents::onHidEvent(unsigned char* data, unsigned int length) {
    putBytes("onHidEvent", data, length);
}

void DeviceEvents::onDeviceResponse() {
    put("onDeviceResponse", {mAccessoryId});
}

}  // namespace mirvoctl

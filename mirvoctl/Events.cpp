#include "mirvoctl/Events.h"

namespace mirvoctl {

void DeviceEvents::put(const char* name, const Json& values) {
    Json all = {{"accessory", mAccessoryId}};
    all.update(values);
    mSink(name, all);
}

void DeviceEvents::onRunningStateChange(int state) {
    put("onRunningStateChange", {{"state", state}});
}

void DeviceEvents::onControlUnavailable() {
    put("onControlUnavailable", Json::object());
}

void DeviceEvents::onDeviceRequestData(unsigned char* data, int dataLength) {
    put("onDeviceRequestData", bytesAs("data", data, static_cast<size_t>(dataLength)));
}

void DeviceEvents::onDeviceRequest(int param1, int param2) {
    put("onDeviceRequest", {{"param1", param1}, {"param2", param2}});
}

void DeviceEvents::onScreenOrientationChange(int orientation) {
    put("onScreenOrientationChange", {{"orientation", orientation}});
}

void DeviceEvents::onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate* timeDate) {
    put("onTimeDateResponse", {{"date1", timeDate->date1},
                               {"date2", timeDate->date2},
                               {"date3", timeDate->date3},
                               {"hour", timeDate->hour},
                               {"minute", timeDate->minute},
                               {"second", timeDate->second},
                               {"fraction", timeDate->fraction},
                               {"week", timeDate->week},
                               {"dayOfWeek", timeDate->dayOfWeek}});
}

void DeviceEvents::onHidReportDescriptor(unsigned char* data, unsigned int length) {
    put("onHidReportDescriptor", bytesAs("data", data, length));
}

void DeviceEvents::onHidEvent(unsigned char* data, unsigned int length) {
    put("onHidEvent", bytesAs("data", data, length));
}

void DeviceEvents::onDeviceResponse() {
    put("onDeviceResponse", Json::object());
}

}  // namespace mirvoctl

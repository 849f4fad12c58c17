#include "tests/api/Facade.h"

#include <cstdlib>
#include <memory>
#include <regex>
#include <sstream>

namespace zrmirvo {
namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

template <typename... Values>
std::string event(const char* name, const Values&... values) {
    std::ostringstream text;
    text << name;
    ((text << ' ' << values), ...);
    return text.str();
}

std::string bytes(const unsigned char* data, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i)
        text += event("", static_cast<int>(data[i]));
    return text;
}

// What a cook operation hands back has to be an array of its own.
int cooked(int result, char* out, int length) {
    const std::unique_ptr<char[]> owned(out);
    const bool whole = out != nullptr && length == 2 && out[0] == 1 && out[1] == 2;
    return result == 1 && out == nullptr ? 1 : whole ? result : -1;
}

const unsigned int kX[] = {11, 12};
const unsigned int kY[] = {21, 22};
const unsigned int kZ[] = {31, 32};

}  // namespace

std::string healthyService(const std::string& request) {
    if (startsWith(request, "130:")) return "133: \"3.6.1\"";
    if (startsWith(request, "131: 7,")) return "130: 2, 7, 8";
    for (const char* raw : {"131: 8,", "134: 7, 5,", "134: 7, 6,", "135: 7, 2,", "136:"}) {
        if (startsWith(request, raw)) return "131: 0, 2, {01 02}";
    }
    return kDone;
}

void ManagerCallback::onError() {
    mCall("onError");
}
void ManagerCallback::onAttach(unsigned int accessoryId) {
    mCall(event("onAttach", accessoryId));
}
void ManagerCallback::onDetach(unsigned int accessoryId) {
    mCall(event("onDetach", accessoryId));
}

void DeviceCallback::onRunningStateChange(int state) {
    mCall(event("onRunningStateChange", state));
}
void DeviceCallback::onControlUnavailable() {
    mCall("onControlUnavailable");
}
void DeviceCallback::onDeviceRequestData(unsigned char* data, int dataLength) {
    mCall("onDeviceRequestData" + bytes(data, static_cast<size_t>(dataLength)));
}
void DeviceCallback::onDeviceRequest(int param1, int param2) {
    mCall(event("onDeviceRequest", param1, param2));
}
void DeviceCallback::onScreenOrientationChange(int orientation) {
    mCall(event("onScreenOrientationChange", orientation));
}
void DeviceCallback::onReserved() {
    mCall("onReserved");
}
void DeviceCallback::onTimeDateResponse(const ZRMirvoTimeDate* t) {
    mCall(event("onTimeDateResponse", t->date1, t->date2, t->date3, t->hour, t->minute, t->second,
                t->fraction, t->week, t->dayOfWeek));
}
void DeviceCallback::onHidReportDescriptor(unsigned char* data, unsigned int length) {
    mCall("onHidReportDescriptor" + bytes(data, length));
}
void DeviceCallback::onHidEvent(unsigned char* data, unsigned int length) {
    mCall("onHidEvent" + bytes(data, length));
}
void DeviceCallback::onDeviceResponse() {
    mCall("onDeviceResponse");
}

using M = ZRMirvoManager;
using I = ZRMirvo;

const std::vector<Operation> kOperations = {
    {"startup", 129, "131: 1, -1, -1L, \".\", 0", 5, [](M& m, I&) { return m.startup(); }},
    {"shutdown", 129, "131: 2, -1, -1L, \".\", 0", 5, [](M& m, I&) { return m.shutdown(); }},
    {"disconnect", 129, "131: 3, -1, -1L, \"usb\", 0", 0,
     [](M& m, I&) { return m.disconnect("usb"), 0; }},
    {"setConfigFile", 129, "131: 4, -1, -1L, \"/etc/mirvo\", 0", 5,
     [](M& m, I&) { return m.setConfigFile("/etc/mirvo"); }},
    {"setBluetoothConfig", 129, "131: 5, 9, -1L, \"00:11:22\", 0", 5,
     [](M& m, I&) { return m.setBluetoothConfig("00:11:22", 9); }},
    {"getIds", 130, "131: 7, -1, -1L, \".\", 0", 0,
     [](M& m, I&) {
         unsigned int ids[10];
         unsigned int count = 99;
         const int result = m.getIds(ids, &count);
         if (result == 0) return count == 2 && ids[0] == 7 && ids[1] == 8 ? 0 : -1;
         return count == 0 || count == 99 ? result : -1;
     }},
    {"getHidDescriptor", 131, "131: 8, -1, -1L, \".\", 0", 0,
     [](M& m, I&) {
         char* data = nullptr;
         int length = 99;
         const int result = m.getHidDescriptor(&data, &length);
         return cooked(result, data, length);
     }},
    {"connect", 129, "131: 9, -1, -1L, \"usb\", 0", 0,
     [](M& m, I&) { return m.connect("usb"), 0; }},
    {"sendTouchEvent", 129, "135: 7, 1, -1L, 2, 1, 4, 11, 21, 31, 12, 22, 32", 5,
     [](M&, I& i) { return i.sendTouchEvent(~0ULL, 2, kX, kY, kZ, 0, 4); }},
    {"sendKeyEvent", 129, "134: 7, 2, 5, -1L, \".\", 1", 5,
     [](M&, I& i) { return i.sendKeyEvent(24, true); }},
    {"sendCalibrateEvent", 129, "134: 7, 3, -1, -1L, \".\", 0", 5,
     [](M&, I& i) { return i.sendCalibrateEvent(); }},
    {"cookTouchEvent", 131, "135: 7, 2, 5L, 1, 3, -4, 11, 21, 31", 5,
     [](M&, I& i) {
         char* out = nullptr;
         int length = 99;
         const int result = i.cookTouchEvent(5, 1, kX, kY, kZ, 2, -4, &out, &length);
         return cooked(result, out, length);
     }},
    {"cookKeyEvent", 131, "134: 7, 5, 3, -1L, \".\", 0", 5,
     [](M&, I& i) {
         char* out = nullptr;
         int length = 99;
         const int result = i.cookKeyEvent(1000, false, &out, &length);
         return cooked(result, out, length);
     }},
    {"cookCalibrateEvent", 131, "134: 7, 6, -1, -1L, \".\", 0", 5,
     [](M&, I& i) {
         char* out = nullptr;
         int length = 99;
         const int result = i.cookCalibrateEvent(&out, &length);
         return cooked(result, out, length);
     }},
    {"sendForceLandscape", 129, "134: 7, 8, -1, -1L, \".\", 1", 5,
     [](M&, I& i) { return i.sendForceLandscape(true); }},
    {"sendVideoFocus", 129, "134: 7, 4, 2, -1L, \".\", 1", 5,
     [](M&, I& i) { return i.sendVideoFocus(2, true); }},
    {"sendOnReadyForPairing", 129, "134: 7, 7, -1, -1L, \".\", 1", 5,
     [](M&, I& i) { return i.sendOnReadyForPairing(true); }},
    {"sendTimeDateInquiry", 129, "134: 7, 9, -1, -1L, \".\", 0", 5,
     [](M&, I& i) { return i.sendTimeDateInquiry(); }},
    {"sendDisplayConfiguration", 129, "137: 7, 0, 1, 2, 3, 4, 5", 5,
     [](M&, I& i) { return i.sendDisplayConfiguration(1, 2, 3, 4, 5); }},
    {"setFeature", 131, "136: 7, 1, 6, 3, {0a 0b 0c}", 5,
     [](M&, I& i) {
         unsigned char data[] = {10, 11, 12};
         return i.setFeature(6, data, 3);
     }},
};

void FacadeTest::obtain() {
    mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    mInstance = mManager->GetMirvoInstance(kAccessory);
    ASSERT_NE(mInstance, nullptr);
    mFramework.takeEvents();
    mLog.take();
}

void FacadeTest::release() {
    if (mManager != nullptr) ZRMirvoManager::ReleaseInstance(mManager);
    mManager = nullptr;
    mInstance = nullptr;
}

std::vector<std::string> FacadeTest::lines() {
    static const std::regex kPlace(R"(\[(\w+):\d+\])");
    Lines result = mLog.takeUntraced("ZRMirvo");
    for (std::string& line : result)
        line =
            std::regex_replace(line, kPlace, "[$1:LINE]", std::regex_constants::format_first_only);
    return result;
}

}  // namespace zrmirvo

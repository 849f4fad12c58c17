#include "tests/api/Facade.h"

#include <memory>
#include <regex>

namespace zrmirvo {
namespace {

bool startsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

int listIds(ZRMirvoManager& manager) {
    unsigned int ids[10];
    unsigned int count = 99;
    const int result = manager.getIds(ids, &count);
    if (result == 0) return count == 2 && ids[0] == 7 && ids[1] == 8 ? 0 : -1;
    return count == 0 || count == 99 ? result : -1;
}

const unsigned int kX[] = {11, 12};
const unsigned int kY[] = {21, 22};
const unsigned int kZ[] = {31, 32};

}  // namespace

std::string healthyService(const std::string& request) {
    if (startsWith(request, "130:")) return R"(133: "3.6.1")";
    if (startsWith(request, "131: 7,")) return "130: 2, 7, 8";
    for (const char* raw : {"131: 8,", "134: 7, 5,", "134: 7, 6,", "135: 7, 2,", "136:"}) {
        if (startsWith(request, raw)) return "131: 0, 2, {01 02}";
    }
    return kDone;
}

int cook(const std::function<int(char** out, int* length)>& operation) {
    char* out = nullptr;
    int length = 99;
    const int result = operation(&out, &length);
    const std::unique_ptr<char[]> owned(out);
    const bool whole = out != nullptr && length == 2 && out[0] == 1 && out[1] == 2;
    return whole == (result != 1) ? result : -1;
}

using M = ZRMirvoManager;
using I = ZRMirvo;

const std::vector<Operation> kOperations = {
    {"startup", R"(131: 1, -1, -1L, ".", 0)", [](M& m, I&) { return m.startup(); }},
    {"shutdown", R"(131: 2, -1, -1L, ".", 0)", [](M& m, I&) { return m.shutdown(); }},
    {"disconnect", R"(131: 3, -1, -1L, "usb", 0)", [](M& m, I&) { return m.disconnect("usb"), 0; },
     129, 0},
    {"setConfigFile", R"(131: 4, -1, -1L, "/etc/mirvo", 0)",
     [](M& m, I&) { return m.setConfigFile("/etc/mirvo"); }},
    // No text may be longer.
    {"setBluetoothConfig", R"(131: 5, -3, -1L, "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb", 0)",
     [](M& m, I&) { return m.setBluetoothConfig(std::string(31, 'b').c_str(), -3); }},
    {"getIds", R"(131: 7, -1, -1L, ".", 0)", [](M& m, I&) { return listIds(m); }, 130, 0},
    {"getHidDescriptor", R"(131: 8, -1, -1L, ".", 0)",
     [](M& m, I&) { return cook([&](auto... out) { return m.getHidDescriptor(out...); }); }, 131,
     0},
    {"connect", R"(131: 9, -1, -1L, "usb", 0)", [](M& m, I&) { return m.connect("usb"), 0; }, 129,
     0},
    {"sendTouchEvent", "135: 7, 1, -1L, 2, 1, 4, 11, 21, 31, 12, 22, 32",
     [](M&, I& i) { return i.sendTouchEvent(~0ULL, 2, kX, kY, kZ, 0, 4); }},
    {"sendKeyEvent", R"(134: 7, 2, 5, -1L, ".", 1)",
     [](M&, I& i) { return i.sendKeyEvent(24, true); }},
    {"sendCalibrateEvent", R"(134: 7, 3, -1, -1L, ".", 0)",
     [](M&, I& i) { return i.sendCalibrateEvent(); }},
    {"cookTouchEvent", "135: 7, 2, 5L, 1, 3, -4, 11, 21, 31",
     [](M&, I& i) {
         return cook(
             [&](auto... out) { return i.cookTouchEvent(5, 1, kX, kY, kZ, 2, -4, out...); });
     },
     131},
    {"cookKeyEvent", R"(134: 7, 5, 3, -1L, ".", 0)",
     [](M&, I& i) {
         return cook([&](auto... out) { return i.cookKeyEvent(1000, false, out...); });
     },
     131},
    {"cookCalibrateEvent", R"(134: 7, 6, -1, -1L, ".", 0)",
     [](M&, I& i) { return cook([&](auto... out) { return i.cookCalibrateEvent(out...); }); }, 131},
    {"sendForceLandscape", R"(134: 7, 8, -1, -1L, ".", 1)",
     [](M&, I& i) { return i.sendForceLandscape(true); }},
    {"sendVideoFocus", R"(134: 7, 4, 2, -1L, ".", 1)",
     [](M&, I& i) { return i.sendVideoFocus(2, true); }},
    {"sendOnReadyForPairing", R"(134: 7, 7, -1, -1L, ".", 1)",
     [](M&, I& i) { return i.sendOnReadyForPairing(true); }},
    {"sendTimeDateInquiry", R"(134: 7, 9, -1, -1L, ".", 0)",
     [](M&, I& i) { return i.sendTimeDateInquiry(); }},
    {"sendDisplayConfiguration", "137: 7, 0, 1, 2, 3, 4, 5",
     [](M&, I& i) { return i.sendDisplayConfiguration(1, 2, 3, 4, 5); }},
    {"setFeature", "136: 7, 1, 6, 3, {0a 0b 0c}",
     [](M&, I& i) {
         unsigned char data[] = {10, 11, 12};
         return i.setFeature(6, data, 3);
     },
     131},
};

void FacadeTest::obtain() {
    if (mManager == nullptr) mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    if (mInstance == nullptr) mInstance = mManager->GetMirvoInstance(kAccessory);
    ASSERT_NE(mInstance, nullptr);
    mFramework.takeEvents();
    mLog.take();
}

void FacadeTest::release() {
    mInstance = nullptr;
    ZRMirvoManager* const released = std::exchange(mManager, nullptr);
    if (released != nullptr) ZRMirvoManager::ReleaseInstance(released);
}

void FacadeTest::hold(const std::string& start, Gate& gate) {
    mFramework.onRequest([&gate, start](const std::string& request) {
        EXPECT_TRUE(!startsWith(request, start) || gate.pass());
        return healthyService(request);
    });
}

Lines FacadeTest::lines() {
    static const std::regex kPlace(R"(\[(\w+):\d+\])");
    Lines result = mLog.takeUntraced("ZRMirvo");
    for (std::string& line : result)
        line =
            std::regex_replace(line, kPlace, "[$1:LINE]", std::regex_constants::format_first_only);
    return result;
}

}  // namespace zrmirvo

#include "tests/api/Facade.h"

#include <memory>
#include <regex>
#include <tuple>
#include <type_traits>

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

using Run = std::function<int(ZRMirvoManager&, ZRMirvo&)>;

// The call of an operation, of the manager or an instance, with these arguments.
template <typename Target, typename Result, typename... Parameters, typename... Arguments>
Run with(Result (Target::*operation)(Parameters...), Arguments... arguments) {
    return [=](ZRMirvoManager& manager, ZRMirvo& instance) {
        auto& target = std::get<Target&>(std::tie(manager, instance));
        if constexpr (std::is_void_v<Result>) {
            return (target.*operation)(arguments...), 0;
        } else {
            return (target.*operation)(arguments...);
        }
    };
}

// The same for one that hands out bytes besides.
template <typename Operation, typename... Arguments>
Run cooking(Operation operation, Arguments... arguments) {
    return [=](ZRMirvoManager& manager, ZRMirvo& instance) {
        return cook([&](char** out, int* length) {
            return with(operation, arguments..., out, length)(manager, instance);
        });
    };
}

unsigned char kData[] = {10, 11, 12};
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
    {"startup", with(&M::startup), R"(131: 1, -1, -1L, ".", 0)"},
    {"shutdown", with(&M::shutdown), R"(131: 2, -1, -1L, ".", 0)"},
    {"disconnect", with(&M::disconnect, "usb"), R"(131: 3, -1, -1L, "usb", 0)", 129, 0},
    {"setConfigFile", with(&M::setConfigFile, "/etc/mirvo"), R"(131: 4, -1, -1L, "/etc/mirvo", 0)"},
    // No text may be longer.
    {"setBluetoothConfig", with(&M::setBluetoothConfig, "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb", -3),
     R"(131: 5, -3, -1L, "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb", 0)"},
    {"getIds", [](M& m, I&) { return listIds(m); }, R"(131: 7, -1, -1L, ".", 0)", 130, 0},
    {"getHidDescriptor", cooking(&M::getHidDescriptor), R"(131: 8, -1, -1L, ".", 0)", 131, 0},
    {"connect", with(&M::connect, "usb"), R"(131: 9, -1, -1L, "usb", 0)", 129, 0},
    {"sendTouchEvent", with(&I::sendTouchEvent, ~0ULL, 2, kX, kY, kZ, 0, 4),
     "135: 7, 1, -1L, 2, 1, 4, 11, 21, 31, 12, 22, 32"},
    {"sendKeyEvent", with(&I::sendKeyEvent, 24, true), R"(134: 7, 2, 5, -1L, ".", 1)"},
    {"sendCalibrateEvent", with(&I::sendCalibrateEvent), R"(134: 7, 3, -1, -1L, ".", 0)"},
    {"cookTouchEvent", cooking(&I::cookTouchEvent, 5, 1, kX, kY, kZ, 2, -4),
     "135: 7, 2, 5L, 1, 3, -4, 11, 21, 31", 131},
    {"cookKeyEvent", cooking(&I::cookKeyEvent, 1000, false), R"(134: 7, 5, 3, -1L, ".", 0)", 131},
    {"cookCalibrateEvent", cooking(&I::cookCalibrateEvent), R"(134: 7, 6, -1, -1L, ".", 0)", 131},
    {"sendForceLandscape", with(&I::sendForceLandscape, true), R"(134: 7, 8, -1, -1L, ".", 1)"},
    {"sendVideoFocus", with(&I::sendVideoFocus, 2, true), R"(134: 7, 4, 2, -1L, ".", 1)"},
    {"sendOnReadyForPairing", with(&I::sendOnReadyForPairing, true),
     R"(134: 7, 7, -1, -1L, ".", 1)"},
    {"sendTimeDateInquiry", with(&I::sendTimeDateInquiry), R"(134: 7, 9, -1, -1L, ".", 0)"},
    {"sendDisplayConfiguration", with(&I::sendDisplayConfiguration, 1, 2, 3, 4, 5),
     "137: 7, 0, 1, 2, 3, 4, 5"},
    {"setFeature", with(&I::setFeature, 6, kData, 3), "136: 7, 1, 6, 3, {0a 0b 0c}", 131},
};

void FacadeTest::obtain() {
    {
        // Not among the events and clients of the test.
        testing_support::FakeFramework other;
        other.onRequest(healthyService);
        ASSERT_EQ(ZRMirvoManager::getVersion().serverPatch, 1);
    }
    mFramework.onRequest(healthyService);
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

Lines FacadeTest::lines(bool* traced) {
    static const std::regex kPlace(R"(\[(\w+):\d+\])");
    Lines result;
    bool found = false;
    for (const std::string& line : mLog.take("ZRMirvo")) {
        if (startsWith(line, "D/")) {
            found = true;
            continue;
        }
        result.push_back(
            std::regex_replace(line, kPlace, "[$1:LINE]", std::regex_constants::format_first_only));
    }
    if (traced != nullptr) *traced = found;
    return result;
}

}  // namespace zrmirvo

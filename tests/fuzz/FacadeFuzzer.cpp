#include <android/log.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/support/FakeFramework.h"

// Arbitrary sequences of operations, answers and notifications at the facade, with callbacks that
// change what they are registered with while they run.

namespace {

using testing_support::FakeFramework;
using namespace zrmirvo;

std::string numbers(Input& input, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        // Mostly what means something, and now and then anything.
        const auto small = input.number<int8_t>();
        const int value = small == INT8_MIN ? input.number<int32_t>() : small % 8;
        text += (i == 0 ? "" : ", ") + std::to_string(value);
    }
    return text;
}

std::string bytes(Input& input) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (int i = input.number<uint8_t>() % 64; i > 0; --i) {
        const auto byte = input.number<uint8_t>();
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
        if (i > 1) text += ' ';
    }
    return "{" + text + "}";
}

std::string reply(Input& input) {
    switch (input.number<uint8_t>() % 6) {
        case 0:
            return "";
        case 1:
            return "130: " + numbers(input, 12);
        case 2:
            return "131: " + numbers(input, 2) + ", " + bytes(input);
        case 3:
            return "133: null";
        case 4:
            return "129: " + numbers(input, 1);
        default:
            return "129: 0, -1, -1L, \".\"";
    }
}

std::string notification(Input& input) {
    switch (input.number<uint8_t>() % 4) {
        case 0:
            return "-1: " + numbers(input, 1);
        case 1:
            return "130: " + numbers(input, 2);
        case 2:
            return "133: " + numbers(input, 4) + ", -1L, \".\", 1";
        default:
            return "134: " + numbers(input, 3) + ", " + bytes(input);
    }
}

// One run, and both kinds of callback in one.
class Session final : ZRMirvoManagerCallback, ZRMirvoCallback {
public:
    explicit Session(Input& input) : mInput(input) {
        mFramework.onBind([this] {
            ++mBound;
            return true;
        });
        mFramework.onRequest([this](const std::string& request) {
            return request.compare(0, 4, "130:") == 0 ? "133: \"3.6.6\"" : reply(mInput);
        });
    }

    void run() {
        while (!mInput.empty())
            step();
        release();
        if (mFramework.liveClients() != 0) abort();
    }

private:
    void step() {
        const unsigned int choice = mInput.number<uint8_t>() % 16;
        if (choice < 6) {
            if (mBound > 0) {
                mFramework.notify(mInput.number<uint8_t>() % mBound, notification(mInput));
            }
        } else if (choice < 8 || mManager == nullptr) {
            if (mManager == nullptr) mManager = ZRMirvoManager::GetInstance("3.6");
        } else if (choice < 9) {
            release();
        } else if (choice < 12) {
            callManager();
        } else {
            callInstance();
        }
    }

    void release() {
        mInstances.clear();
        if (mManager != nullptr) ZRMirvoManager::ReleaseInstance(std::exchange(mManager, nullptr));
    }

    void callManager() {
        unsigned int ids[10];
        unsigned int count = 0;
        char* data = nullptr;
        int length = 0;
        switch (mInput.number<uint8_t>() % 6) {
            case 0:
                mManager->RegisterCallback(this);
                break;
            case 1:
                mManager->UnregisterCallback(this);
                break;
            case 2:
                mManager->getIds(ids, &count);
                if (count > 10) abort();
                break;
            case 3:
                if (mManager->getHidDescriptor(&data, &length) != 0 && data != nullptr) abort();
                checkAndFree(data, length);
                break;
            case 4:
                mManager->setBluetoothConfig("text", 1);
                break;
            default:
                if (auto* instance = mManager->GetMirvoInstance(mInput.number<uint8_t>() % 8)) {
                    mInstances.push_back(instance);
                }
        }
    }

    void callInstance() {
        if (mInstances.empty()) return;
        const size_t index = mInput.number<uint8_t>() % mInstances.size();
        ZRMirvo* instance = mInstances[index];
        const unsigned int values[] = {1, 2, 3};
        char* data = nullptr;
        int length = 0;
        switch (mInput.number<uint8_t>() % 7) {
            case 0:
                instance->RegisterCallback(this);
                break;
            case 1:
                instance->UnregisterCallback(this);
                break;
            case 2:
                mInstances.erase(mInstances.begin() + static_cast<ptrdiff_t>(index));
                mManager->ReleaseMirvoInstance(instance);
                break;
            case 3:
                instance->cookKeyEvent(4, true, &data, &length);
                checkAndFree(data, length);
                break;
            case 4:
                instance->cookTouchEvent(1, 3, values, values, values, 2, 0, &data, &length);
                checkAndFree(data, length);
                break;
            case 5:
                instance->setFeature(1, nullptr, mInput.number<uint8_t>());
                break;
            default:
                instance->sendTouchEvent(1, mInput.number<int8_t>() % 4, values, values, values, 0,
                                         0);
        }
    }

    void checkAndFree(char* data, int length) {
        if (data != nullptr)
            read(reinterpret_cast<unsigned char*>(data), static_cast<unsigned>(length));
        delete[] data;
    }

    // To the last byte.
    void read(const unsigned char* data, unsigned int length) {
        for (unsigned int i = 0; i < length; ++i)
            mSum += data[i];
    }

    // What a callback does while it runs: perhaps one more step, which may release what called it.
    void inside() {
        if (mInput.number<uint8_t>() % 2 == 0 || mDepth > 3) return;
        ++mDepth;
        if (!mInput.empty()) step();
        --mDepth;
    }

    void onError() override { inside(); }
    void onAttach(unsigned int) override { inside(); }
    void onDetach(unsigned int) override { inside(); }
    void onRunningStateChange(int) override { inside(); }
    void onControlUnavailable() override { inside(); }
    void onDeviceRequestData(unsigned char* data, int length) override {
        if (length < 0 || length > 36) abort();
        read(data, static_cast<unsigned int>(length));
        inside();
    }
    void onDeviceRequest(int, int) override { inside(); }
    void onScreenOrientationChange(int) override { inside(); }
    void onReserved() override { abort(); }
    void onTimeDateResponse(const ZRMirvoTimeDate* timeDate) override {
        if (timeDate == nullptr) abort();
        inside();
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override {
        read(data, length);
        inside();
    }
    void onHidEvent(unsigned char* data, unsigned int length) override {
        read(data, length);
        inside();
    }
    void onDeviceResponse() override { inside(); }

    Input& mInput;
    FakeFramework mFramework;
    ZRMirvoManager* mManager = nullptr;
    std::vector<ZRMirvo*> mInstances;
    int mDepth = 0;
    size_t mBound = 0;
    unsigned int mSum = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool kQuiet = [] {
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        return true;
    }();
    static_cast<void>(kQuiet);
    Input input(data, size);
    Session(input).run();
    return 0;
}

#include <zrmirvo/ZRMirvoManager.h>

#include <cstdlib>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "tests/api/Facade.h"
#include "tests/fuzz/Input.h"

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
    std::vector<uint8_t> block(input.number<uint8_t>() % 64);
    for (uint8_t& byte : block)
        byte = input.number<uint8_t>();
    return testing_support::bufferText(block.data(), block.size());
}

std::string reply(Input& input) {
    const int form = input.number<uint8_t>() % 6;
    if (form == 0) return "";
    if (form == 1) return "130: " + numbers(input, 12);
    if (form == 2) return "131: " + numbers(input, 2) + ", " + bytes(input);
    if (form == 3) return "133: null";
    if (form == 4) return "129: " + numbers(input, 1);
    return "129: 0, -1, -1L, \".\"";
}

std::string notification(Input& input) {
    const int form = input.number<uint8_t>() % 4;
    if (form == 0) return "-1: " + numbers(input, 1);
    if (form == 1) return "130: " + numbers(input, 2);
    if (form == 2) return "133: " + numbers(input, 4) + ", -1L, \".\", 1";
    return "134: " + numbers(input, 3) + ", " + bytes(input);
}

class Session final {
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
        const int operation = mInput.number<uint8_t>() % 6;
        if (operation == 0) mManager->RegisterCallback(&mCallback);
        if (operation == 1) mManager->UnregisterCallback(&mCallback);
        if (operation == 2) mManager->getIds(ids, &count);
        if (count > 10) abort();
        if (operation == 3) {
            char* data = nullptr;
            int length = 0;
            if (mManager->getHidDescriptor(&data, &length) != 0 && data != nullptr) abort();
            checkAndFree(data, length);
        }
        if (operation == 4) mManager->setBluetoothConfig("text", 1);
        if (operation == 5) {
            auto* instance = mManager->GetMirvoInstance(mInput.number<uint8_t>() % 8);
            if (instance != nullptr) mInstances.push_back(instance);
        }
    }

    void callInstance() {
        if (mInstances.empty()) return;
        const size_t index = mInput.number<uint8_t>() % mInstances.size();
        ZRMirvo* instance = mInstances[index];
        const unsigned int values[] = {1, 2, 3};
        char* data = nullptr;
        int length = 0;
        const int operation = mInput.number<uint8_t>() % 7;
        if (operation == 0) instance->RegisterCallback(&mCallback);
        if (operation == 1) instance->UnregisterCallback(&mCallback);
        if (operation == 2) {
            mInstances.erase(mInstances.begin() + static_cast<ptrdiff_t>(index));
            mManager->ReleaseMirvoInstance(instance);
        }
        if (operation == 3) instance->cookKeyEvent(4, true, &data, &length);
        if (operation == 4) {
            instance->cookTouchEvent(1, 3, values, values, values, 2, 0, &data, &length);
        }
        if (operation == 5) instance->setFeature(1, nullptr, mInput.number<uint8_t>());
        if (operation == 6) {
            const int count = mInput.number<int8_t>() % 4;
            instance->sendTouchEvent(1, count, values, values, values, 0, 0);
        }
        checkAndFree(data, length);
    }

    // Reads it to the last byte.
    void checkAndFree(char* data, int length) {
        if (data != nullptr) mSum += std::accumulate(data, data + length, 0u);
        delete[] data;
    }

    // What a callback does while it runs: perhaps one more step, which may release what called it.
    void inside() {
        if (mInput.number<uint8_t>() % 2 == 0 || mDepth > 3) return;
        ++mDepth;
        if (!mInput.empty()) step();
        --mDepth;
    }

    Input& mInput;
    FakeFramework mFramework;
    // For the manager and all instances.
    Callback mCallback{[this](const std::string& event) {
        if (event == "onReserved") abort();
        inside();
    }};
    ZRMirvoManager* mManager = nullptr;
    std::vector<ZRMirvo*> mInstances;
    int mDepth = 0;
    size_t mBound = 0;
    unsigned int mSum = 0;
};

}  // namespace

void fuzz(Input& input) {
    Session(input).run();
}

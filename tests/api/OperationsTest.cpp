#include <algorithm>
#include <iterator>
#include <memory>

#include "api/ZRMirvoImpl.h"
#include "tests/api/Facade.h"

namespace zrmirvo {
namespace {

class OperationsTest : public FacadeTest {
protected:
    OperationsTest() { obtain(); }

    // What one call gives, sends and logs below the facade's own tag.
    int run(const Operation& operation, const std::string& reply) {
        mFramework.takeEvents();
        mLog.take();
        mFramework.answer(reply);
        return operation.call(*mManager, *mInstance);
    }
};

bool givesNothing(const Operation& operation) {
    return std::find(std::begin(kNoResult), std::end(kNoResult), std::string(operation.name)) !=
           std::end(kNoResult);
}

TEST_F(OperationsTest, forwardAndGiveWhatTheServiceGives) {
    ASSERT_EQ(kOperations.size(), 20u);
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        const Lines trace = {"D/ZRMirvo: [ZRMirvo][" + std::string(operation.name) + "] [--IN--]",
                             "D/ZRMirvo: [ZRMirvo][" + std::string(operation.name) + "] [--OUT--]"};
        EXPECT_EQ(run(operation, healthyService(operation.request)), 0);
        EXPECT_EQ(mFramework.requests(), Lines{operation.request});
        EXPECT_EQ(mLog.take("ZRMirvo"), trace);

        const std::string replies[] = {kDone, "130: 2, 7, 8", "131: 5, 2, {01 02}", "133: \"\""};
        const int types[] = {129, 130, 131, 133};
        for (size_t i = 0; i < std::size(replies); ++i) {
            if (types[i] == operation.replyType) continue;
            EXPECT_EQ(run(operation, replies[i]), givesNothing(operation) ? 0 : 1) << replies[i];
            EXPECT_EQ(mLog.take("ZRMirvo"), trace);
        }
        const char* refusal = operation.replyType == 129   ? "129: 5, -1, -1L, \".\""
                              : operation.replyType == 130 ? "130: 2, 7, 8"
                                                           : "131: 5, 2, {01 02}";
        EXPECT_EQ(run(operation, refusal), operation.refused);
        EXPECT_EQ(run(operation, ""), givesNothing(operation) ? 0 : 1);
    }
}

TEST_F(OperationsTest, failWithoutTheService) {
    deliver(kManagerClient, kServiceLost);
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(run(operation, ""), givesNothing(operation) ? 0 : 1);
        const bool managers = mFramework.requests().empty();
        EXPECT_EQ(managers, std::string(operation.request).rfind("131:", 0) == 0 &&
                                operation.name != std::string("setFeature"));
    }
    EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr);
}

TEST_F(OperationsTest, translateKeyCodes) {
    struct {
        unsigned int code;
        int sent;
    } const rows[] = {
        {4, 4},   {24, 5},  {25, 6},  {26, 1},  {82, 2},  {85, 14},  {86, 13},
        {87, 11}, {88, 12}, {89, 10}, {90, 9},  {126, 7}, {127, 8},  {0, 3},
        {1, 3},   {3, 3},   {5, 3},   {23, 3},  {27, 3},  {81, 3},   {83, 3},
        {84, 3},  {91, 3},  {125, 3}, {128, 3}, {260, 3}, {1000, 3}, {4294967295u, 3},
    };
    for (const auto& row : rows) {
        mFramework.takeEvents();
        mFramework.onRequest(healthyService);
        char* out = nullptr;
        int length = 0;
        mInstance->sendKeyEvent(row.code, false);
        mInstance->cookKeyEvent(row.code, true, &out, &length);
        delete[] out;
        const std::string code = std::to_string(row.sent);
        EXPECT_EQ(mFramework.requests(), (Lines{"134: 7, 2, " + code + ", -1L, \".\", 0",
                                                "134: 7, 5, " + code + ", -1L, \".\", 1"}))
            << row.code;
    }
}

TEST_F(OperationsTest, translateTouchActions) {
    struct {
        int action;
        int sent;
    } const rows[] = {{0, 1},
                      {5, 1},
                      {2, 3},
                      {1, 2},
                      {3, 2},
                      {4, 2},
                      {6, 2},
                      {7, 2},
                      {-1, 2},
                      {261, 2},
                      {-2147483647 - 1, 2}};
    for (const auto& row : rows) {
        mFramework.takeEvents();
        mFramework.onRequest(healthyService);
        char* out = nullptr;
        int length = 0;
        EXPECT_EQ(mInstance->sendTouchEvent(1, 0, nullptr, nullptr, nullptr, row.action, 2), 0);
        EXPECT_EQ(mInstance->cookTouchEvent(1, 0, nullptr, nullptr, nullptr, row.action, 2, &out,
                                            &length),
                  0);
        delete[] out;
        const std::string content = ", 1L, 0, " + std::to_string(row.sent) + ", 2";
        EXPECT_EQ(mFramework.requests(), (Lines{"135: 7, 1" + content, "135: 7, 2" + content}))
            << row.action;
    }
}

TEST_F(OperationsTest, refuseArgumentsThatCannotBeSent) {
    const unsigned int some[1] = {1};
    const auto touch = [&](int count, const unsigned int* a, const unsigned int* b,
                           const unsigned int* c) {
        return mInstance->sendTouchEvent(1, count, a, b, c, 0, 0);
    };
    const auto cook = [&](int count, const unsigned int* a) {
        char* out = nullptr;
        int length = 0;
        return mInstance->cookTouchEvent(1, count, a, some, some, 0, 0, &out, &length);
    };
    const std::string illegal = "E/ZRMirvo: illegal parameter!\n";
    const std::string below = "E/Mirvo[c]: illegal parameter!\n";
    const std::string manager = "E/MirvoManager[c]: illegal parameter!\n";
    const std::string text = "E/ZRMirvo: a Bluetooth text has at most 31 characters\n";
    char* out = nullptr;
    int length = 0;
    unsigned int count = 0;
    struct {
        std::function<int()> call;
        std::string line;
    } const rows[] = {
        {[&] { return touch(-1, some, some, some); }, illegal},
        {[&] { return touch(-2147483647 - 1, nullptr, nullptr, nullptr); }, illegal},
        {[&] { return touch(1, nullptr, some, some); }, illegal},
        {[&] { return touch(1, some, nullptr, some); }, illegal},
        {[&] { return touch(1, some, some, nullptr); }, illegal},
        {[&] { return cook(-1, some); }, illegal},
        {[&] { return cook(1, nullptr); }, illegal},
        {[&] { return mInstance->cookKeyEvent(4, true, nullptr, &length); }, below},
        {[&] { return mInstance->cookCalibrateEvent(&out, nullptr); }, below},
        {[&] { return mInstance->setFeature(1, &out, 2147483648u); }, below},
        {[&] { return mManager->setBluetoothConfig(nullptr, 1); }, text},
        {[&] { return mManager->setBluetoothConfig(std::string(32, 'b').c_str(), 1); }, text},
        {[&] { return mManager->setBluetoothConfig(std::string(5000, 'b').c_str(), 1); }, text},
        {[&] { return mManager->setConfigFile(nullptr); }, manager},
        {[&] { return mManager->connect(nullptr), 1; }, manager},
        {[&] { return mManager->disconnect(nullptr), 1; }, manager},
        {[&] { return mManager->getIds(nullptr, &count); }, manager},
        {[&] { return mManager->getHidDescriptor(&out, nullptr); }, manager},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        mLog.take();
        EXPECT_EQ(rows[i].call(), 1) << i;
        EXPECT_EQ(mLog.takeUntraced(), Lines{rows[i].line}) << i;
    }
    EXPECT_EQ(mFramework.requests(), Lines{});
}

TEST_F(OperationsTest, takeTheLongestBluetoothText) {
    for (const size_t length : {size_t{0}, size_t{31}}) {
        mFramework.takeEvents();
        const std::string text(length, 'b');
        EXPECT_EQ(mManager->setBluetoothConfig(text.c_str(), -3), 0);
        EXPECT_EQ(mFramework.requests(), Lines{"131: 5, -3, -1L, \"" + text + "\", 0"});
    }
}

TEST_F(OperationsTest, handOutOneInstanceForEachCall) {
    ZRMirvo* second = mManager->GetMirvoInstance(kAccessory);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, mInstance);
    EXPECT_EQ(mFramework.requests(),
              (Lines{"131: 6, 7, -1L, \".\", 0", "134: 7, 1, -1, -1L, \".\", 0"}));
    EXPECT_EQ(mFramework.liveClients(), 3u);
    mManager->ReleaseMirvoInstance(mInstance);
    EXPECT_EQ(mFramework.liveClients(), 2u);
    EXPECT_EQ(second->sendCalibrateEvent(), 0);

    mLog.take();
    mFramework.takeEvents();
    for (ZRMirvo* nobody :
         {static_cast<ZRMirvo*>(nullptr), mInstance, reinterpret_cast<ZRMirvo*>(uintptr_t{16})}) {
        mManager->ReleaseMirvoInstance(nobody);
        EXPECT_EQ(mLog.take(), (Lines{"D/ZRMirvo: [ZRMirvo][ReleaseMirvoInstance] [--IN--]",
                                      "D/ZRMirvo: [ZRMirvo][ReleaseMirvoInstance] [--OUT--]"}));
    }
    EXPECT_EQ(mFramework.takeEvents(), Lines{});
    EXPECT_EQ(second->sendAppTouchEvent(1, 1, nullptr, nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(second->sendAppKeyEvent(4, true), 0);
    // What an implementation of the interface may leave out.
    EXPECT_EQ(second->ZRMirvo::sendTimeDateInquiry(), 0);
    EXPECT_EQ(second->ZRMirvo::sendDisplayConfiguration(1, 2, 3, 4, 5), 0);
    EXPECT_EQ(second->ZRMirvo::setFeature(1, nullptr, 0), 0);
    EXPECT_EQ(mFramework.requests(), Lines{});
}

TEST_F(OperationsTest, handOutNoInstanceThatTheServiceRefuses) {
    mFramework.answer("129: 3, -1, -1L, \".\"");
    EXPECT_EQ(mManager->GetMirvoInstance(9), nullptr);
    EXPECT_EQ(lines(), Lines{"W/ZRMirvo: GetMirvoInstance can't find mirvo"});
    EXPECT_EQ(mFramework.liveClients(), 2u);
    // A refused notifier is another matter: the instance works, without events.
    mFramework.onRequest([](const std::string& request) {
        return request.rfind("134: 7, 1,", 0) == 0 ? "129: 5, -1, -1L, \".\"" : kDone;
    });
    ZRMirvo* deaf = mManager->GetMirvoInstance(kAccessory);
    ASSERT_NE(deaf, nullptr);
    EXPECT_EQ(deaf->sendCalibrateEvent(), 0);
    mLog.take();
    EXPECT_TRUE(deliver(kInstanceClient + 1, kStateChange));
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(OperationsTest, reportViolatedPreconditions) {
    const android::sp<ZRMirvoImpl> unbound = new ZRMirvoImpl;
    ZRMirvoManager* const stale = mManager;
    ZRMirvoManager* const foreign = reinterpret_cast<ZRMirvoManager*>(uintptr_t{16});
    struct {
        std::function<bool()> refused;
        std::string line;
    } const rows[] = {
        {[&] { return !mManager->RegisterCallback(nullptr); }, "violated: cbObj != NULL\n"},
        {[&] { return mManager->UnregisterCallback(nullptr), true; }, "violated: cbObj != NULL\n"},
        {[&] { return !mInstance->RegisterCallback(nullptr); }, "violated: cbObj != NULL\n"},
        {[&] { return mInstance->UnregisterCallback(nullptr), true; }, "violated: cbObj != NULL\n"},
        {[&] { return ZRMirvoManager::ReleaseInstance(nullptr), true; },
         "violated: instance != NULL\n"},
        {[&] { return ZRMirvoManager::ReleaseInstance(foreign), mManager->startup() == 0; },
         "violated: pImpl != NULL\n"},
        {[&] { return android::sp<ZRMirvoNotifier>(new ZRMirvoNotifier(nullptr)) != nullptr; },
         "violated: mvMgr != NULL\n"},
        {[&] { return unbound->sendKeyEvent(4, true) == 1; },
         "[sendKeyEvent:LINE] FATAL!! Mirvo Instance had not been got!!\n"},
        {[&] { return release(), ZRMirvoManager::ReleaseInstance(stale), true; },
         "violated: pImpl != NULL\n"},
        {[&] {
             mManager = ZRMirvoManager::GetInstance("3.6");
             lines();
             ZRMirvoManager::ReleaseInstance(foreign);
             return mManager->startup() == 0;
         },
         "violated: pImpl != NULL\n"},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        lines();
        EXPECT_TRUE(rows[i].refused()) << i;
        EXPECT_EQ(lines(), Lines{"E/ZRMirvo: " + rows[i].line}) << i;
    }
}

}  // namespace
}  // namespace zrmirvo

#include <cstdint>

#include "api/ZRMirvoImpl.h"
#include "tests/api/Facade.h"

namespace zrmirvo {
namespace {

class OperationsTest : public FacadeTest {
protected:
    OperationsTest() { obtain(); }

    int run(const Operation& operation, const std::string& reply) {
        mFramework.takeEvents();
        mLog.take();
        mFramework.answer(reply);
        return operation.call(*mManager, *mInstance);
    }

    using Values = const unsigned int*;

    int touch(int count, Values x, Values y, Values z, int action = 0) {
        return mInstance->sendTouchEvent(1, count, x, y, z, action, 2);
    }
    int cookTouch(int count, Values values, int action = 0) {
        return cook([&](auto... out) {
            return mInstance->cookTouchEvent(1, count, values, values, values, action, 2, out...);
        });
    }
};

TEST_F(OperationsTest, forwardAndGiveWhatTheServiceGives) {
    const std::pair<int, std::string> kReplies[] = {{129, R"(129: 5, -1, -1L, ".")"},
                                                    {130, "130: 2, 7, 8"},
                                                    {131, "131: 5, 2, {01 02}"},
                                                    {133, R"(133: "")"}};
    ASSERT_EQ(kOperations.size(), 20u);
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        const Lines trace = traced("ZRMirvo", operation.name);
        const int failed = operation.givesNothing() ? 0 : 1;
        EXPECT_EQ(run(operation, healthyService(operation.request)), 0);
        EXPECT_EQ(mFramework.requests(), Lines{operation.request});
        EXPECT_EQ(mLog.take("ZRMirvo"), trace);
        for (const auto& [type, reply] : kReplies) {
            const bool fits = type == operation.replyType;
            EXPECT_EQ(run(operation, reply), fits ? operation.refused : failed) << reply;
            EXPECT_EQ(mLog.take("ZRMirvo"), trace);
        }
        EXPECT_EQ(run(operation, ""), failed);
    }
}

TEST_F(OperationsTest, translateKeyCodesAndTouchActions) {
    const auto expectSent = [&](const std::string& send, const std::string& cooked) {
        EXPECT_EQ(mFramework.requests(), (Lines{send, cooked}));
        mFramework.takeEvents();
    };
    const std::pair<unsigned int, int> kKeys[] = {
        {4, 4},   {24, 5},  {25, 6},  {26, 1},  {82, 2},  {85, 14},  {86, 13},
        {87, 11}, {88, 12}, {89, 10}, {90, 9},  {126, 7}, {127, 8},  {0, 3},
        {1, 3},   {3, 3},   {5, 3},   {23, 3},  {27, 3},  {81, 3},   {83, 3},
        {84, 3},  {91, 3},  {125, 3}, {128, 3}, {260, 3}, {1000, 3}, {4294967295u, 3},
    };
    for (const auto& row : kKeys) {
        SCOPED_TRACE(row.first);
        EXPECT_EQ(mInstance->sendKeyEvent(row.first, false), 0);
        EXPECT_EQ(cook([&](auto... o) { return mInstance->cookKeyEvent(row.first, true, o...); }),
                  0);
        const std::string code = std::to_string(row.second);
        expectSent("134: 7, 2, " + code + R"(, -1L, ".", 0)",
                   "134: 7, 5, " + code + R"(, -1L, ".", 1)");
    }
    const std::pair<int, int> kActions[] = {{0, 1},  {5, 1},   {2, 3},        {1, 2},
                                            {3, 2},  {4, 2},   {6, 2},        {7, 2},
                                            {-1, 2}, {261, 2}, {INT32_MIN, 2}};
    for (const auto& row : kActions) {
        SCOPED_TRACE(row.first);
        EXPECT_EQ(touch(0, nullptr, nullptr, nullptr, row.first), 0);
        EXPECT_EQ(cookTouch(0, nullptr, row.first), 0);
        const std::string content = ", 1L, 0, " + std::to_string(row.second) + ", 2";
        expectSent("135: 7, 1" + content, "135: 7, 2" + content);
    }
}

TEST_F(OperationsTest, refuseArgumentsThatCannotBeSent) {
    const unsigned int some[1] = {1};
    const auto bluetooth = [&](const char* text) { return mManager->setBluetoothConfig(text, 1); };
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
        {[&] { return touch(INT32_MIN, nullptr, nullptr, nullptr); }, illegal},
        {[&] { return touch(1, nullptr, some, some); }, illegal},
        {[&] { return touch(1, some, nullptr, some); }, illegal},
        {[&] { return touch(1, some, some, nullptr); }, illegal},
        {[&] { return cookTouch(-1, some); }, illegal},
        {[&] { return cookTouch(1, nullptr); }, illegal},
        {[&] { return mInstance->cookKeyEvent(4, true, nullptr, &length); }, below},
        {[&] { return mInstance->cookCalibrateEvent(&out, nullptr); }, below},
        {[&] { return mInstance->setFeature(1, &out, 2147483648u); }, below},
        {[&] { return mInstance->setFeature(1, nullptr, 1); }, below},
        {[&] { return bluetooth(nullptr); }, illegal},
        {[&] { return bluetooth(std::string(32, 'b').c_str()); }, text},
        {[&] { return bluetooth(std::string(5000, 'b').c_str()); }, text},
        {[&] { return mManager->setConfigFile(nullptr); }, manager},
        {[&] { return mManager->connect(nullptr), 1; }, manager},
        {[&] { return mManager->disconnect(nullptr), 1; }, manager},
        {[&] { return mManager->getIds(nullptr, &count); }, manager},
        {[&] { return mManager->getHidDescriptor(&out, nullptr); }, manager},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        mLog.take();
        EXPECT_EQ(row.call(), 1);
        EXPECT_EQ(mLog.takeUntraced(), Lines{row.line});
    }
    EXPECT_EQ(mFramework.requests(), Lines{});
}

// What is read is limited to 16 MiB, what is sent is not.
TEST_F(OperationsTest, sendAsManyPointersAsThereIsMemoryFor) {
    constexpr int kCount = (16 << 20) / 12 + 1;
    const std::vector<unsigned int> values(kCount);
    EXPECT_EQ(touch(kCount, values.data(), values.data(), values.data()), 0);
    EXPECT_EQ(mFramework.requests().size(), 1u);
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
        EXPECT_EQ(mLog.take(), traced("ZRMirvo", "ReleaseMirvoInstance"));
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
    // A refused notifier is another matter: the instance works, without events, and the log says
    // so.
    mFramework.onRequest([](const std::string& request) {
        return request.rfind("134: 7, 1,", 0) == 0 ? "129: 5, -1, -1L, \".\"" : kDone;
    });
    ZRMirvo* deaf = mManager->GetMirvoInstance(kAccessory);
    ASSERT_NE(deaf, nullptr);
    EXPECT_EQ(lines(),
              Lines{"E/ZRMirvo: an instance of accessory 7 receives no events: status 5\n"});
    EXPECT_EQ(deaf->sendCalibrateEvent(), 0);
    mLog.take();
    EXPECT_TRUE(deliver(kInstanceClient + 1, kStateChange));
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(OperationsTest, reportViolatedPreconditions) {
    const android::sp<ZRMirvoImpl> unbound = new ZRMirvoImpl;
    ZRMirvoManager* const stale = mManager;
    const std::string noCallback = "violated: cbObj != NULL\n";
    const std::string noManager = "violated: pImpl != NULL\n";
    const auto refusesForeign = [&] {
        ZRMirvoManager::ReleaseInstance(kForeign);
        return mManager->startup() == 0;
    };
    struct {
        std::function<bool()> refused;
        std::string line;
    } const rows[] = {
        {[&] { return !mManager->RegisterCallback(nullptr); }, noCallback},
        {[&] { return mManager->UnregisterCallback(nullptr), true; }, noCallback},
        {[&] { return !mInstance->RegisterCallback(nullptr); }, noCallback},
        {[&] { return mInstance->UnregisterCallback(nullptr), true; }, noCallback},
        {[&] { return ZRMirvoManager::ReleaseInstance(nullptr), true; },
         "violated: instance != NULL\n"},
        {refusesForeign, noManager},
        {[&] { return android::sp<ZRMirvoNotifier>(new ZRMirvoNotifier(nullptr)) != nullptr; },
         "violated: mvMgr != NULL\n"},
        {[&] { return unbound->sendKeyEvent(4, true) == 1; },
         "[sendKeyEvent:LINE] FATAL!! Mirvo Instance had not been got!!\n"},
        {[&] { return release(), ZRMirvoManager::ReleaseInstance(stale), true; }, noManager},
        {[&] { return obtain(), refusesForeign(); }, noManager},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        lines();
        EXPECT_TRUE(row.refused());
        EXPECT_EQ(lines(), Lines{"E/ZRMirvo: " + row.line});
    }
}

}  // namespace
}  // namespace zrmirvo

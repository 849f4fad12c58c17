#include <algorithm>

#include "tests/api/Facade.h"
#include "tests/support/Process.h"
#include "tests/support/Task.h"

namespace zrmirvo {
namespace {

using testing_support::Task;

const std::string kError = "E/ZRMirvo: Version error : Please check version!\n";
const std::string kNoServer = "E/ZRMirvo: get server version fail.\n";
const Lines kUnreadable = {"E/ZRMirvo: get user client version fail.\n", kError};
const Lines kNoNumber = {"E/ZRMirvo: get version number error!\n", kNoServer, kError};
const Lines kNegative = {"E/ZRMirvo: get version error!\n", kNoServer, kError};

std::string summary(const char* user, const char* server) {
    return "I/ZRMirvo: user client version:" + std::string(user) +
           "\nclient version:3.6.6\nserver version:" + server + "\n";
}

Lines matching(const char* server) {
    return {summary("3.6", server)};
}

Lines mismatching(const char* user, const char* server) {
    return {summary(user, server), "W/ZRMirvo: version mismatching!!!\n", kError};
}

Lines withoutBindings(Lines lines) {
    const auto ofBinding = [](const std::string& line) {
        return line.find("MirvoServiceProtocol") != std::string::npos;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), ofBinding), lines.end());
    return lines;
}

// The versions of the service, null when it does not tell, and of the application, and what is
// logged about them.
struct Pair {
    const char* server;
    const char* user;
    Lines lines;
};

// In the names of the tests.
void PrintTo(const Pair& pair, std::ostream* out) {
    const auto name = [](const char* version) { return version == nullptr ? "null" : version; };
    *out << name(pair.server) << " for " << name(pair.user);
}

class VersionTest : public FacadeTest, public testing::WithParamInterface<Pair> {};

TEST_P(VersionTest, gate) {
    if (!testing_support::inProcessOfItsOwn()) return;
    const Pair& pair = GetParam();
    const bool opens = pair.lines.size() == 1;
    mFramework.answer(pair.server == nullptr ? "" : "133: \"" + std::string(pair.server) + "\"");
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance(pair.user);
    EXPECT_EQ(manager != nullptr, opens);
    EXPECT_EQ(lines(), pair.lines);

    // Whatever the gate said, there is a manager, and the pool runs.
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"0 bind mirvo.accessory.manager", "0 listen", "startThreadPool",
                     "1 bind mirvo.accessory.manager", "1 request 130: \"\"", "1 release"}));

    // The next call makes no other, and asks for a version only while none has been readable.
    mFramework.onRequest(healthyService);
    const bool known = pair.lines != kNoNumber && pair.lines != kNegative;
    mManager = ZRMirvoManager::GetInstance("3.6");
    EXPECT_EQ(mFramework.requests().size(), known ? 0u : 1u);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    EXPECT_TRUE(!opens || mManager == manager);
}

const Pair kPairs[] = {
    {"3.6.1", "3.6", matching("3.6.1")},
    {"3.6.0", "3.6.0", matching("3.6.0")},
    {"3.6.99", "3.6.99", matching("3.6.99")},
    {"3.6.1-rc", "3.6-rc", matching("3.6.1")},
    {"3.6.1", "3.5", mismatching("3.5", "3.6.1")},
    {"3.6.1", "4.6", mismatching("4.6", "3.6.1")},
    {"3.6.1", "0.6", mismatching("0.6", "3.6.1")},
    {"3.6.1", "3.0", mismatching("3.0", "3.6.1")},
    {"3.7.0", "3.6", mismatching("3.6", "3.7.0")},
    {"3.7.0", "3.7", mismatching("3.7", "3.7.0")},
    {"2.6.0", "3.6", mismatching("3.6", "2.6.0")},
    {"3.6.1", "3", kUnreadable},
    {"3.6.1", "", kUnreadable},
    {"3.6.1", "x.y", kUnreadable},
    {"3.6.1", "-3.6", kUnreadable},
    {"3.6.1", "3.-6", kUnreadable},
    {"3.6.1", nullptr, kUnreadable},
    {"3.6.1", "4294967299.6", kUnreadable},
    {"3.6", "3.6", kNoNumber},
    {"3", "3.6", kNoNumber},
    {"", "3.6", kNoNumber},
    {"3.4294967302.1", "3.6", kNoNumber},
    {"-3.6.1", "3.6", kNegative},
    {"3.6.-1", "3.6", kNegative},
    // Who does not tell its version is taken for 3.6.3.
    {nullptr, "3.6", matching("3.6.3")},
};
INSTANTIATE_TEST_SUITE_P(Table, VersionTest, testing::ValuesIn(kPairs));

using ManagerTest = FacadeTest;
using Numbers = std::vector<int>;

Numbers numbers(const ZRMirvoVersion& v) {
    return {v.clientMajor, v.clientMinor, v.clientPatch,
            v.serverMajor, v.serverMinor, v.serverPatch};
}

TEST_F(ManagerTest, versionNeedsNoManager) {
    if (!testing_support::inProcessOfItsOwn()) return;
    mFramework.answer("133: \"3.6\"");
    EXPECT_EQ(numbers(ZRMirvoManager::getVersion()), (Numbers{3, 6, 6, -1, -1, -1}));
    EXPECT_EQ(lines(), Lines{"E/ZRMirvo: get version number error!\n"});
    mFramework.takeEvents();
    mFramework.answer("133: \"12.0.7\"");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(numbers(ZRMirvoManager::getVersion()), (Numbers{3, 6, 6, 12, 0, 7}));
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"1 bind mirvo.accessory.manager", "1 request 130: \"\"", "1 release"}));
    EXPECT_EQ(mLog.take("ZRMirvo"), Lines{});
}

TEST_F(ManagerTest, worksWithoutAService) {
    if (!testing_support::inProcessOfItsOwn()) return;
    mFramework.onBind([] { return false; });
    mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mManager->startup(), 1);
    EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr);
}

TEST_F(ManagerTest, isMadeInOrder) {
    mManager = ZRMirvoManager::GetInstance("3.6");
    const Lines constructor = traced(
        "ZRMirvo", "ZRMirvoManagerImpl",
        {traced("MirvoManager[c]", "MirvoManagerImpl"), traced("ZRMirvo", "ZRMirvoManagerNotifier"),
         traced("MirvoManager[c]", "setNotifier")});
    const Lines check =
        traced("ZRMirvo", "checkVersion",
               {{summary("3.6", "3.6.1"), "D/ZRMirvo: matching version success.\n"}});
    EXPECT_EQ(withoutBindings(mLog.take()), traced("ZRMirvo", "GetInstance", {constructor, check}));
}

TEST_F(ManagerTest, isDestroyedInOrderAndMadeAnew) {
    obtain();
    release();
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"0 unlisten", "0 release", "1 unlisten", "1 release"}));
    const Lines destructor = traced(
        "ZRMirvo", "~ZRMirvoManagerImpl",
        {traced("MirvoManager[c]", "setNotifier"), traced("MirvoManager[c]", "~MirvoManagerImpl")});
    EXPECT_EQ(withoutBindings(mLog.take()),
              traced("ZRMirvo", "ReleaseInstance", {destructor, traced("Mirvo[c]", "~MirvoImpl")}));

    mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"2 bind mirvo.accessory.manager", "2 listen", "startThreadPool"}));
}

TEST_F(ManagerTest, isNotOneThatWasReleasedDuringTheCheckOfItsVersion) {
    if (!testing_support::inProcessOfItsOwn()) return;
    Gate gate;
    hold("130:", gate);
    Task caller([&] { mManager = ZRMirvoManager::GetInstance("3.6"); });
    ASSERT_TRUE(gate.isReached());
    ZRMirvoManager::ReleaseInstance(ZRMirvoManager::GetInstance("3.6"));
    gate.open();
    ASSERT_TRUE(caller.finishes());
    EXPECT_EQ(mFramework.liveClients(), 1u);
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mManager->startup(), 0);
}

TEST_F(ManagerTest, isOneForTwoFirstCalls) {
    Gate gate;
    mFramework.onBind([&] { return gate.pass(); });
    ZRMirvoManager* second = nullptr;
    {
        Task first([&] { mManager = ZRMirvoManager::GetInstance("3.6"); });
        ASSERT_TRUE(gate.isReached());
        Task caller([&] { second = ZRMirvoManager::GetInstance("3.6"); });
        EXPECT_TRUE(caller.waits());
        // Unlocked.
        EXPECT_EQ(ZRMirvoManager::getVersion().serverPatch, 1);
        ZRMirvoManager::ReleaseInstance(kForeign);
        gate.open();
    }
    EXPECT_NE(mManager, nullptr);
    EXPECT_EQ(mManager, second);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    const Lines events = mFramework.takeEvents();
    EXPECT_EQ(std::count(events.begin(), events.end(), "startThreadPool"), 1);
}

}  // namespace
}  // namespace zrmirvo

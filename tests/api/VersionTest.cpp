#include <algorithm>

#include "tests/api/Facade.h"

namespace zrmirvo {
namespace {

const Lines kUnreadable = {"E/ZRMirvo: get user client version fail.\n",
                           "E/ZRMirvo: Version error : Please check version!\n"};
const Lines kNoNumber = {"E/ZRMirvo: get version number error!\n",
                         "E/ZRMirvo: get server version fail.\n",
                         "E/ZRMirvo: Version error : Please check version!\n"};
const Lines kNegative = {"E/ZRMirvo: get version error!\n", "E/ZRMirvo: get server version fail.\n",
                         "E/ZRMirvo: Version error : Please check version!\n"};

std::string summary(const char* user, const char* server) {
    return "I/ZRMirvo: user client version:" + std::string(user) +
           "\nclient version:3.6.6\nserver version:" + server + "\n";
}

Lines matching(const char* server) {
    return {summary("3.6", server)};
}

Lines mismatching(const char* user, const char* server) {
    return {summary(user, server), "W/ZRMirvo: version mismatching!!!\n",
            "E/ZRMirvo: Version error : Please check version!\n"};
}

Lines withoutBindings(Lines lines) {
    const auto ofBinding = [](const std::string& line) {
        return line.find("MirvoServiceProtocol") != std::string::npos;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), ofBinding), lines.end());
    return lines;
}

struct Gate {
    const char* reply;
    const char* version;
    bool opens;
    Lines lines;
};

// In the names of the tests.
void PrintTo(const Gate& gate, std::ostream* out) {
    std::string name =
        std::string(gate.reply) + " for " + (gate.version == nullptr ? "null" : gate.version);
    name.erase(std::remove(name.begin(), name.end(), '"'), name.end());
    *out << name;
}

class VersionTest : public FacadeTest, public testing::WithParamInterface<Gate> {};

TEST_P(VersionTest, gate) {
    const Gate& gate = GetParam();
    mFramework.answer(gate.reply);
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance(gate.version);
    EXPECT_EQ(manager != nullptr, gate.opens);
    EXPECT_EQ(lines(), gate.lines);

    // Whatever the gate said, there is a manager, and the pool runs.
    const Lines events = mFramework.takeEvents();
    const Lines expected = {"0 bind mirvo.accessory.manager",
                            "0 listen",
                            "startThreadPool",
                            "1 bind mirvo.accessory.manager",
                            "1 request 130: \"\"",
                            "1 release"};
    EXPECT_EQ(events, expected);

    // The next call makes no other, and asks for a version only while none has been readable.
    mFramework.onRequest(healthyService);
    const bool known = gate.lines != kNoNumber && gate.lines != kNegative;
    mManager = ZRMirvoManager::GetInstance("3.6");
    EXPECT_EQ(mFramework.requests().size(), known ? 0u : 1u);
    EXPECT_EQ(mFramework.liveClients(), 1u);
    EXPECT_TRUE(!gate.opens || mManager == manager);
}

INSTANTIATE_TEST_SUITE_P(
    Table, VersionTest,
    testing::Values(Gate{"133: \"3.6.1\"", "3.6", true, matching("3.6.1")},
                    Gate{"133: \"3.6.0\"", "3.6.0", true, matching("3.6.0")},
                    Gate{"133: \"3.6.99\"", "3.6.99", true, matching("3.6.99")},
                    Gate{"133: \"3.6.1-rc\"", "3.6-rc", true, matching("3.6.1")},
                    Gate{"133: \"3.6.1\"", "3.5", false, mismatching("3.5", "3.6.1")},
                    Gate{"133: \"3.6.1\"", "4.6", false, mismatching("4.6", "3.6.1")},
                    Gate{"133: \"3.7.0\"", "3.6", false, mismatching("3.6", "3.7.0")},
                    Gate{"133: \"3.7.0\"", "3.7", false, mismatching("3.7", "3.7.0")},
                    Gate{"133: \"2.6.0\"", "3.6", false, mismatching("3.6", "2.6.0")},
                    Gate{"133: \"3.6.1\"", "3", false, kUnreadable},
                    Gate{"133: \"3.6.1\"", "", false, kUnreadable},
                    Gate{"133: \"3.6.1\"", "x.y", false, kUnreadable},
                    Gate{"133: \"3.6.1\"", "-3.6", false, kUnreadable},
                    Gate{"133: \"3.6.1\"", "3.-6", false, kUnreadable},
                    Gate{"133: \"3.6.1\"", nullptr, false, kUnreadable},
                    Gate{"133: \"3.6.1\"", "4294967299.6", false, kUnreadable},
                    Gate{"133: \"3.6\"", "3.6", false, kNoNumber},
                    Gate{"133: \"3\"", "3.6", false, kNoNumber},
                    Gate{"133: \"\"", "3.6", false, kNoNumber},
                    Gate{"133: \"3.4294967302.1\"", "3.6", false, kNoNumber},
                    Gate{"133: \"-3.6.1\"", "3.6", false, kNegative},
                    Gate{"133: \"3.6.-1\"", "3.6", false, kNegative},
                    // Who does not tell its version is taken for 3.6.3.
                    Gate{"", "3.6", true, matching("3.6.3")},
                    Gate{kDone, "3.6", true, matching("3.6.3")}));

using ManagerTest = FacadeTest;

TEST_F(ManagerTest, versionNeedsNoManager) {
    mFramework.answer("133: \"3.6\"");
    const ZRMirvoVersion unknown = ZRMirvoManager::getVersion();
    EXPECT_EQ(unknown.serverMajor, -1);
    EXPECT_EQ(unknown.serverMinor, -1);
    EXPECT_EQ(unknown.serverPatch, -1);
    EXPECT_EQ(lines(), Lines{"E/ZRMirvo: get version number error!\n"});
    mFramework.takeEvents();
    mFramework.answer("133: \"12.0.7\"");
    for (int i = 0; i < 2; ++i) {
        const ZRMirvoVersion version = ZRMirvoManager::getVersion();
        const int numbers[] = {version.clientMajor, version.clientMinor, version.clientPatch,
                               version.serverMajor, version.serverMinor, version.serverPatch};
        EXPECT_EQ(std::vector<int>(numbers, numbers + 6), (std::vector<int>{3, 6, 6, 12, 0, 7}));
    }
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"1 bind mirvo.accessory.manager", "1 request 130: \"\"", "1 release"}));
    EXPECT_EQ(mLog.take("ZRMirvo"), Lines{});
}

TEST_F(ManagerTest, worksWithoutAService) {
    mFramework.onBind([] { return false; });
    mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mManager->startup(), 1);
    EXPECT_EQ(mManager->GetMirvoInstance(kAccessory), nullptr);
}

TEST_F(ManagerTest, isMadeInOrder) {
    mManager = ZRMirvoManager::GetInstance("3.6");
    EXPECT_EQ(withoutBindings(mLog.take()),
              (Lines{
                  "D/ZRMirvo: [ZRMirvo][GetInstance] [--IN--]",
                  "D/ZRMirvo: [ZRMirvo][ZRMirvoManagerImpl] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][MirvoManagerImpl] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][MirvoManagerImpl] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][ZRMirvoManagerNotifier] [--IN--]",
                  "D/ZRMirvo: [ZRMirvo][ZRMirvoManagerNotifier] [--OUT--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][setNotifier] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][setNotifier] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][ZRMirvoManagerImpl] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][checkVersion] [--IN--]",
                  summary("3.6", "3.6.1"),
                  "D/ZRMirvo: matching version success.\n",
                  "D/ZRMirvo: [ZRMirvo][checkVersion] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][GetInstance] [--OUT--]",
              }));
}

TEST_F(ManagerTest, isDestroyedInOrderAndMadeAnew) {
    obtain();
    ZRMirvoManager* const first = mManager;
    ZRMirvoManager::ReleaseInstance(first);
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"0 unlisten", "0 release", "2 unlisten", "2 release"}));
    EXPECT_EQ(withoutBindings(mLog.take()),
              (Lines{
                  "D/ZRMirvo: [ZRMirvo][ReleaseInstance] [--IN--]",
                  "D/ZRMirvo: [ZRMirvo][~ZRMirvoManagerImpl] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][setNotifier] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][setNotifier] [--OUT--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][~MirvoManagerImpl] [--IN--]",
                  "D/MirvoManager[c]: [MirvoManager[c]][~MirvoManagerImpl] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][~ZRMirvoManagerImpl] [--OUT--]",
                  "D/Mirvo[c]: [Mirvo[c]][~MirvoImpl] [--IN--]",
                  "D/Mirvo[c]: [Mirvo[c]][~MirvoImpl] [--OUT--]",
                  "D/ZRMirvo: [ZRMirvo][ReleaseInstance] [--OUT--]",
              }));

    mManager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(mManager, nullptr);
    EXPECT_EQ(mFramework.takeEvents(),
              (Lines{"3 bind mirvo.accessory.manager", "3 listen", "startThreadPool"}));
}

}  // namespace
}  // namespace zrmirvo

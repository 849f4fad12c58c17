// Scripts as tests of a client: what they expect of its requests, and how they react to them.

#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

using EmulatorScriptTest = ToolsTest;

TEST_F(EmulatorScriptTest, expectationsAreMetOrEndTheScript) {
    const struct {
        const char* script;
        const char* typed;
        int status;
        const char* error;
        const char* instead = "";
    } kRows[] = {
        // In any order; each is taken once.
        {"wait-for shutdown\nexpect shutdown\nexpect startup\nexpect-no startup within 1\nquit",
         "startup\nshutdown", 0, ""},
        {"expect-idle\nquit", "", 0, ""},
        {"expect startup\nexpect startup within 1", "startup", 4, ":3: expected startup, but after",
         "it has not come; the last requests: getVersion version=\"\""},
        // The oldest that fits, past others of the same name; before and after the command.
        {"wait-for sendKeyEvent 2\nexpect sendKeyEvent@7 flag=false\nexpect sendKeyEvent"
         " keyCode=0x4 flag=true\nquit",
         "device 7 key back", 0, ""},
        {"expect sendTouchEvent@7 array1=[1,4] action=3\nexpect setFeature data=0a0b\nexpect"
         " connect arg=\"a phone\"\nquit",
         "device 7 touch move 1,2,3 4,5,6\ndevice 7 feature 1 0A0B\nconnect \"a phone\"", 0, ""},
        // Other arguments fail at once.
        {"expect sendKeyEvent keyCode=4 flag=true\nexpect sendKeyEvent@7 flag=true within 60000",
         "device 7 key back", 4, ":3: expected sendKeyEvent@7 flag=true, but after",
         "ms sendKeyEvent accessory=7 keyCode=4 flag=false came instead; the last requests of"
         " accessory 7: getMirvo accessory=7, setNotifier accessory=7, sendKeyEvent accessory=7"
         " keyCode=4 flag=true, sendKeyEvent accessory=7 keyCode=4 flag=false\n"},
        {"expect sendKeyEvent@8 within 1", "", 4, ":2: expected sendKeyEvent@8, but after",
         "ms it has not come; no request has come at all\n"},
        {"expect getVersion\nexpect sendKeyEvent@8 within 1", "startup", 4, ":3: expected",
         "it has not come; the last requests, none of accessory 8: getVersion version=\"\""},
        {"wait-for startup\nexpect-no startup within 60000", "startup", 4,
         ":3: expected no startup, but after", "ms startup had come"},
        {"expect-no startup within 60000", "startup", 4, "expected no startup"},
        {"wait-for shutdown\nexpect-no startup within 1\nquit", "shutdown", 0, ""},
        {"wait-for shutdown\nexpect startup\nexpect-idle", "startup\nshutdown", 4,
         ":4: expected no further request, but these are left: getVersion version=\"\"",
         ", shutdown\n"},
        {"wait-for startup\nwait-for startup 2 within 1", "startup", 4,
         ":3: waited for startup, which came 0 times instead of 2 within"},
        {"arrived startup\nwait-for startup\nquit", "startup", 0, ""},
        {"to 1 hid 7 01", "", 4, ":2: process 1 is no client that listens"},
        {"wait 100000", "", 4, ":2: the script is not over after 1 ms"},
        {"expect startup within 100000", "", 4, ":2: expected startup, but after",
         "no request has come at all; the script is not over after 1 ms\n"},
        {"wait-for startup", "", 4, ":2: waited for startup, which came 0 times",
         "; the script is not over after 1 ms\n"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.script);
        const std::string script = mFolder.write("script", std::string("ids 7\n") + row.script);
        const bool endless = contains(std::string(row.error) + row.instead, "not over");
        Process emulator({MIRVO_EMULATOR, "--limit", endless ? "1" : "20000", "--script", script});
        emulator.waitForLine(readyLine());
        Process shell({MIRVOCTL, "--quiet", "shell"});
        shell.type(row.typed);
        EXPECT_EQ(row.status, emulator.wait()) << emulator.errors();
        EXPECT_TRUE(contains(emulator.errors(), row.error)) << emulator.errors();
        EXPECT_TRUE(contains(emulator.errors(), row.instead)) << emulator.errors();
        EXPECT_EQ(row.status != 0, contains(emulator.errors(), script)) << emulator.errors();
        EXPECT_FALSE(contains(emulator.output(), "> to 1 ")) << emulator.output();
    }
}

// So that memory grows neither with every accessory that is ever named nor with long texts.
TEST_F(EmulatorScriptTest, onlyTheLastRequestsAreKnown) {
    std::string calibrations;
    for (int id = 1; id <= 1001; ++id)
        calibrations += "device " + std::to_string(id) + " calibrate\n";
    const std::string longText(1'000'000, 'A');
    std::string texts = "connect first\n";
    for (int i = 0; i < 40; ++i)
        texts += "connect " + longText + "\n";
    const struct {
        const char* script;
        std::string requests;
        const char* error;
    } kRows[] = {
        {"wait-for getMirvo@1001\nwait-for getMirvo@1 within 1\nquit", calibrations,
         ":3: waited for getMirvo@1, which came 0 times"},
        {"expect connect arg=A\nquit", "connect A\n", ""},
        {"expect connect arg=first within 1\nquit", texts, ":2: expected connect arg=\"first\""},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.script);
        const std::string script =
            mFolder.write("script", std::string("wait-for shutdown\n") + row.script);
        Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
        emulator.waitForLine(readyLine());
        ctl("--quiet shell", row.requests + "shutdown");
        EXPECT_EQ(*row.error == '\0' ? 0 : 4, emulator.wait());
        EXPECT_TRUE(contains(emulator.errors(), row.error)) << emulator.errors();
    }
}

TEST_F(EmulatorScriptTest, theLimitBoundsStandardInput) {
    const std::string script = mFolder.write("script", "ids 7\n");
    Process emulator({MIRVO_EMULATOR, "--limit", "1", "--then-prompt", "--script", script});
    EXPECT_EQ(4, emulator.wait());
    EXPECT_EQ("mirvo-emulator: the script is not over after 1 ms\n", emulator.errors());
}

TEST_F(EmulatorScriptTest, filesIncludeOthers) {
    mFolder.write("inner", "state 7 1\nrepeat 2\n  state 7 2\nend\n");
    const std::string script =
        mFolder.write("script", "repeat 2\n  include inner\nend\nstate 7 3\nquit\n");
    Process good({MIRVO_EMULATOR, "--script", script});
    EXPECT_EQ(0, good.wait());
    EXPECT_EQ(readyLine() +
                  "\n> state 7 1\n> state 7 2\n> state 7 2\n> state 7 1\n> state 7 2\n> state 7 2\n"
                  "> state 7 3\n",
              good.output());

    mFolder.write("inner", "repeat 2\nstate 7\n");
    Process bad({MIRVO_EMULATOR, "--script", script});
    EXPECT_EQ(2, bad.wait());
    EXPECT_EQ(mFolder.path() + "/inner:2: N is missing (usage: state ID N)\n" + mFolder.path() +
                  "/inner:2: repeat without end\n",
              bad.errors());
}

TEST_F(EmulatorScriptTest, oneClientIsToldFromAnother) {
    Emulator emulator("--clients");
    Process first({MIRVOCTL, "monitor"});
    first.waitForLine("monitoring accessories=[7]");
    const std::string pid = std::to_string(first.pid());
    Process second({MIRVOCTL, "monitor"});
    second.waitForLine("monitoring accessories=[7]");
    emulator.tell("to " + pid + " hid 7 01");
    emulator.tell("hid 7 02");
    second.waitForLine(R"(onHidEvent accessory=7 data="02" text=".")");
    EXPECT_FALSE(contains(second.output(), "data=\"01\"")) << second.output();
    first.waitForLine(R"(onHidEvent accessory=7 data="01" text=".")");
    emulator.type("clients");
    emulator.type("drop " + pid);
    EXPECT_EQ(3, first.wait());
    emulator.tell("hid 7 03");
    second.waitForLine(R"(onHidEvent accessory=7 data="03" text=".")");
    EXPECT_TRUE(contains(emulator.output(), "client pid=" + pid + " connections=["))
        << emulator.output();

    emulator.tell("no-reply startup");
    EXPECT_EQ(1, ctl("startup").status);
    EXPECT_TRUE(contains(emulator.output(),
                         "setNotifier accessory=7 -> result=0 (process " + pid + ", connection "))
        << emulator.output();
    emulator.tell("once normal startup");
    EXPECT_TRUE(contains(emulator.output(), "\nstartup -> no-reply (process "));
}

}  // namespace
}  // namespace tools_test

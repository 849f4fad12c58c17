// The emulator as a process, against mirvoctl as another.

#include <sstream>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

using EmulatorTest = ToolsTest;

// Without a service, since nothing of this may even look for one.
TEST_F(EmulatorTest, mistakesInScriptsAndOptionsAreNamed) {
    const struct {
        const char* script;
        const char* errors;
    } kRows[] = {
        {"attach 7\n\n# fine\nflatten 7\nattach\nattach 4294967296\nattach 7 8\n",
         ":4: no such command: flatten\n"
         ":5: ID is missing (usage: attach ID)\n"
         ":6: ID is not a number in range: 4294967296 (usage: attach ID)\n"
         ":7: too many words (usage: attach ID)\n"},
        {"hid 7 0", ":1: bytes are not pairs of hexadecimal digits: 0"},
        {"request-data 7 0001020304050607080910111213141516171819202122232425262728293031323334"
         "353637",
         ":1: more than 36 bytes"},
        {"answer start 1", ":1: no such operation: start"},
        {"once attach 7", ":1: only answers follow once"},
        {"version \"3.6", ":1: a quote stays open"},
        {"end", ":1: end without repeat"},
        {"wait-for startup@7", ":1: startup concerns the service and no accessory: startup@7"},
        {"silent startup@7", ":1: startup concerns the service and no accessory: startup@7"},
        {"expect sendKeyEvent keycode=4", ":1: sendKeyEvent has no argument keycode"},
        {"expect sendKeyEvent keyCode=x", ":1: not a value of keyCode: x"},
        // What could never be met, or always is.
        {"expect sendKeyEvent keyCode=99999999999\nexpect sendVideoFocus focus=0x80000000\n"
         "expect sendTouchEvent array1=[1,-1]\nexpect sendKeyEvent keyCode=1 keyCode=2\n"
         "wait-for startup 0\nexpect-no sendKeyEvent@4294967296 within 1\n"
         "expect cookTouchEvent time=18446744073709551615 array2=[4294967295] extra=-1\n"
         "expect sendTouchEvent count=2 array1=[1]\nexpect sendTouchEvent array1=[1] array3=[]\n"
         "expect sendTouchEvent count=1 action=5 array2=[7] array3=[8]\n",
         ":1: not a value of keyCode: 99999999999\n:2: not a value of focus: 0x80000000\n"
         ":3: not a value of array1: [1,-1]\n:4: keyCode is given twice\n"
         ":5: COUNT is 0, so there is nothing to wait for\n:6: ID is not a number in range\n"
         ":8: count and array1 do not fit\n:9: array1 and array3 do not fit\n"},
        {"expect-no startup", ":1: within MS is missing"},
        {"on startup\nwait-for startup\nend", ":2: wait-for cannot stand in a reaction"},
        {"on startup\n", ":1: on without end"},
        {"include other", ":1: cannot read "},
        {"include script", ":1: the file includes itself: "},
        {"to 12 silent startup", ":1: only events follow to"},
        {"repeat 2\nattach 7\n", ":2: repeat without end"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.script);
        const std::string path = mFolder.write("script", row.script);
        Process emulator({MIRVO_EMULATOR, "--script", path});
        EXPECT_EQ(2, emulator.wait());
        EXPECT_EQ("", emulator.output());
        std::istringstream lines(row.errors);
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(contains(emulator.errors(), path + line)) << emulator.errors();
        for (const char* good : {":7: not", ":10: "})
            EXPECT_FALSE(contains(emulator.errors(), path + good)) << emulator.errors();
    }
    Process missing({MIRVO_EMULATOR, "--script", mFolder.path() + "/none"});
    EXPECT_EQ(2, missing.wait());
    EXPECT_TRUE(contains(missing.errors(), "none: No such file or directory"));

    const char* reason = "--limit: not a number of milliseconds: x (see mirvo-emulator --help)";
    Process plain({MIRVO_EMULATOR, "--limit", "x"});
    EXPECT_EQ(2, plain.wait());
    EXPECT_EQ(std::string("mirvo-emulator: ") + reason + "\n", plain.errors());
    EXPECT_EQ("", plain.output());
    Process json({MIRVO_EMULATOR, "--limit", "x", "--json"});
    EXPECT_EQ(2, json.wait());
    EXPECT_TRUE(contains(json.output(), std::string(R"("ok":false,"error":")") + reason));

    // As by a variable of a shell that is not set, with which nothing would be tested.
    for (const char* option : {"--script", "--replay", "--dir", "--output"}) {
        Process empty({MIRVO_EMULATOR, option, "", "--limit", "1", "--exit-when-idle"});
        EXPECT_EQ(2, empty.wait());
        EXPECT_TRUE(contains(empty.errors(), std::string(option) + ": the name is empty"))
            << empty.errors();
    }
    const std::string nothing = mFolder.write("script", "");
    Process lonely({MIRVO_EMULATOR, "--script", nothing, "--limit", "1", "--exit-when-idle"});
    EXPECT_EQ(4, lonely.wait());
    EXPECT_TRUE(contains(lonely.errors(), "no client has come after 1 ms")) << lonely.errors();

    Process piped({MIRVO_EMULATOR});
    piped.type("attach 7\nflatten 7\nattach 8");
    EXPECT_EQ(2, piped.wait());
    EXPECT_TRUE(contains(piped.errors(), "<stdin>:2: no such command: flatten"));
    EXPECT_FALSE(contains(piped.output(), "attach 8"));

    // A terminal, and in it whatever runs the emulator.
    Process typed(
        {"bash", "-c", R"(script -qec "exec $ZRMIRVO_RUNNER $0" /dev/null)", MIRVO_EMULATOR});
    typed.type("flatten 7\nattach 8\nquit");
    EXPECT_EQ(0, typed.wait()) << typed.errors();
    EXPECT_TRUE(contains(typed.output(), "<stdin>:1: no such command: flatten"));
    EXPECT_TRUE(contains(typed.output(), "> attach 8"));
}

// So that a mistake in a block of megabytes does not hide what was wrong with it.
TEST_F(EmulatorTest, aRefusalQuotesALongLineInPart) {
    const std::string word = "flat" + std::string(1'000'000, 'A');
    Process emulator({MIRVO_EMULATOR, "--json"});
    emulator.type(word);
    EXPECT_EQ(2, emulator.wait());
    const Result shell = ctl("--json shell", word);
    EXPECT_EQ(2, shell.status);
    for (const std::string& text :
         {emulator.output(), emulator.errors(), shell.output, shell.errors}) {
        EXPECT_TRUE(contains(text, "flatAAA")) << text.substr(0, 1000);
        EXPECT_TRUE(contains(text, "AAA [")) << text.substr(0, 1000);
        EXPECT_GT(10'000u, text.size());
    }
}

TEST_F(EmulatorTest, aScriptFollowsTheRequests) {
    const std::string script = mFolder.write("script",
                                             "ids 7 8\n"
                                             "once answer startup 5\n"
                                             "wait-for startup\n"
                                             "answer sendCalibrateEvent@8 6\n"
                                             "state 1 1\n"
                                             "wait-for sendCalibrateEvent@8\n"
                                             "repeat 2\n"
                                             "  state 2 2\n"
                                             "  repeat 2\n"
                                             "    state 3 3\n"
                                             "  end\n"
                                             "end\n"
                                             "wait-for sendCalibrateEvent 2\n"
                                             "state 4 4\n"
                                             "wait-for startup\n"
                                             "state 5 5\n"
                                             "wait 1\n");
    Process emulator({MIRVO_EMULATOR, "--exit-when-idle", "--script", script});
    emulator.waitForLine(readyLine());
    Process shell({MIRVOCTL, "shell"});
    const auto event = [&](const char* command) {
        emulator.waitForLine(std::string("> ") + command);
    };
    shell.type("startup");
    event("state 1 1");
    shell.type("device 8 calibrate");
    for (const char* command : {"state 2 2", "state 3 3", "state 3 3", "state 2 2", "state 3 3"})
        event(command);
    shell.type("device 7 calibrate");
    emulator.waitForLine("sendCalibrateEvent accessory=7 -> result=0");
    event("state 4 4");
    shell.type("startup");
    emulator.waitForLine("startup -> result=0");
    event("state 5 5");
    shell.closeInput();
    EXPECT_EQ(1, shell.wait());
    EXPECT_EQ(
        "startup: status 5\nsendCalibrateEvent: status 6\nsendCalibrateEvent: ok\n"
        "startup: ok\n",
        shell.output());
    EXPECT_EQ(0, emulator.wait());
}

TEST_F(EmulatorTest, whatWasAskedBeforeTheEndIsAnswered) {
    const std::string script = mFolder.write("script", "wait-for shutdown\nquit\n");
    for (int i = 0; i < 20; ++i) {
        Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
        emulator.waitForLine(readyLine());
        EXPECT_EQ("shutdown: ok\n", ctl("shutdown").output);
        EXPECT_EQ(0, emulator.wait());
    }
}

}  // namespace
}  // namespace tools_test

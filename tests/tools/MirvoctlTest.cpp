// mirvoctl as a process, against the emulator as another.

#include <csignal>
#include <regex>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

using testing_support::eventually;

class MirvoctlTest : public ToolsTest {};

// The lines of JSON without their times.
std::string withoutTimes(const std::string& output) {
    return std::regex_replace(output, std::regex(R"("time":\d+,)"), "");
}

TEST_F(MirvoctlTest, commandsReachTheService) {
    const std::string feature = mFolder.write("feature", "AB\n");
    const struct {
        std::string words;
        const char* request;
        const char* shown;
    } kRows[] = {
        {"version", R"(getVersion version="" -> version="3.6.6")",
         "getVersion: ok library=\"3.6.6\" service=\"3.6.6\"\n"},
        {"startup", "startup -> result=0", "startup: ok\n"},
        {"--json shutdown", "shutdown -> result=0",
         "{\"operation\":\"shutdown\",\"ok\":true,\"status\":0,\"error\":null,\"exit\":0}\n"},
        {"connect \"a phone\"", "connect arg=\"a phone\" -> result=0", "connect: sent\n"},
        {"disconnect", "disconnect arg=\"\" -> result=0", "disconnect: sent\n"},
        {"config-file /etc/p.conf", "setConfigFile path=\"/etc/p.conf\" -> result=0",
         "setConfigFile: ok\n"},
        {"--quiet bluetooth name -2", "setBluetoothConfig text=\"name\" value=-2 -> result=0", ""},
        {"--quiet ids", "getIds -> ids=[7,10]", "getIds: ok ids=[7,10]\n"},
        {"hid-descriptor", "getHidDescriptor -> result=0 bytes=\"0541C0\"",
         "getHidDescriptor: ok bytes=\"0541C0\" text=\".A.\"\n"},
        {"device 010 calibrate", "sendCalibrateEvent accessory=10 -> result=0",
         "sendCalibrateEvent: ok\n"},
        {"device 7 key back up", "sendKeyEvent accessory=7 keyCode=4 flag=false -> result=0",
         "sendKeyEvent: ok\n"},
        {"device 7 key 24", "sendKeyEvent accessory=7 keyCode=5 flag=false -> result=0",
         "sendKeyEvent: ok\nsendKeyEvent: ok\n"},
        {"device 7 touch move 1,2,3 4,5,6 --time 09 --extra -1",
         "sendTouchEvent accessory=7 time=9 count=2 array1=[1,4] array2=[2,5] array3=[3,6]"
         " action=3 extra=-1 -> result=0",
         "sendTouchEvent: ok\n"},
        {"device 7 calibrate", "sendCalibrateEvent accessory=7 -> result=0",
         "sendCalibrateEvent: ok\n"},
        {"device 7 cook-key play-pause down",
         "cookKeyEvent accessory=7 keyCode=14 flag=true -> result=0"
         " bytes=\"4B070000000E00000001\"",
         "cookKeyEvent: ok bytes=\"4B070000000E00000001\" text=\"K.........\"\n"},
        {"--json device 7 cook-touch 5 1,2,65 --time 258 --extra 3",
         "cookTouchEvent accessory=7 time=258 count=1 array1=[1] array2=[2] array3=[65] action=1"
         " extra=3 -> result=0 bytes=\"54070000000201000000000000010000000300000001000000"
         "010000000200000041000000\"",
         "{\"operation\":\"cookTouchEvent\",\"ok\":true,\"status\":0,\"error\":null,\"exit\":0,"
         "\"bytes\":"
         "\"54070000000201000000000000010000000300000001000000010000000200000041000000\","
         "\"text\":\"T................................A...\"}\n"},
        {"device 7 cook-calibrate",
         "cookCalibrateEvent accessory=7 -> result=0 bytes=\"4307000000\"",
         "cookCalibrateEvent: ok bytes=\"4307000000\" text=\"C....\"\n"},
        {"device 7 landscape on", "sendForceLandscape accessory=7 flag=true -> result=0",
         "sendForceLandscape: ok\n"},
        {"device 7 focus -3 off", "sendVideoFocus accessory=7 focus=-3 flag=false -> result=0",
         "sendVideoFocus: ok\n"},
        {"device 7 pairing on", "sendOnReadyForPairing accessory=7 flag=true -> result=0",
         "sendOnReadyForPairing: ok\n"},
        {"device 7 display 1 2 3 -4 5",
         "sendDisplayConfiguration accessory=7 value1=1 value2=2 value3=3 value4=-4 value5=5 ->"
         " result=0",
         "sendDisplayConfiguration: ok\n"},
        {"device 7 feature 3 0a0B",
         R"(setFeature accessory=7 feature=3 data="0A0B" -> result=0 bytes="")",
         "setFeature: ok\n"},
        {"device 7 feature 4 @" + feature,
         R"(setFeature accessory=7 feature=4 data="41420A" -> result=0 bytes="")",
         "setFeature: ok\n"},
    };
    Emulator emulator;
    emulator.tell("ids 7 010");
    emulator.tell("descriptor-bytes 05 41 C0");
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.words);
        const Result result = ctl(row.words);
        EXPECT_EQ(0, result.status);
        EXPECT_EQ(row.shown, withoutTimes(result.output));
        EXPECT_EQ("", result.errors);
        emulator.waitForLine(row.request);
    }
    const Result asked = ctl("device 7 time-date");
    EXPECT_EQ(0, asked.status);
    EXPECT_TRUE(contains(asked.output, "sendTimeDateInquiry: ok accessory=7 date1=20"))
        << asked.output;
}

TEST_F(MirvoctlTest, answersDecideTheExitStatus) {
    const struct {
        const char* commands;
        const char* words;
        int status;
        const char* shown;
        const char* error;
    } kRows[] = {
        {"answer startup 5", "startup", 1, "startup: status 5\n", "the service refused it"},
        {"answer cookKeyEvent@7 -4\nanswer cookKeyEvent bytes 41", "device 7 cook-key 4 up", 1,
         "cookKeyEvent: status -4 bytes=\"4B070000000400000000\" text=\"K.........\"\n",
         "cookKeyEvent failed with status -4"},
        {"answer cookKeyEvent@7 0\nanswer cookKeyEvent@7 bytes 41 42", "device 7 cook-key 4 up", 0,
         "cookKeyEvent: ok bytes=\"4142\" text=\"AB\"\n", ""},
        {"silent shutdown", "shutdown", 1, "shutdown: status 1\n", "reply is null return"},
        {"mistype startup", "--quiet startup", 1, "", "target :MVServiceReply::COMMON curr: 131"},
        {"answer getIds 4", "ids", 1, "getIds: status 1\n",
         "target :MVServiceReply::ACCESSORY_IDS curr: 129"},
        {"delay startup 1000000", "startup", 1, "startup: status 1\n", "the time is up"},
        {"once silent startup\nnormal startup", "startup", 0, "startup: ok\n", ""},
        {"descriptor-bytes", "hid-descriptor", 1, "getHidDescriptor: status 1\n",
         "failed to get HID descriptor."},
        {"answer getMirvo@7 1", "device 7 calibrate", 1, "",
         "the service gives no accessory 7: \"mirvoctl ids\" lists"},
        {"version 3.7.2", "startup", 3, "", "the service has version 3.7.2 and the library"},
        {"version none", "startup", 3, "", "the service gives no version"},
        {"version 3.7.2", "version", 0, "getVersion: ok library=\"3.6.6\" service=\"3.7.2\"\n", ""},
        {"silent getVersion", "version", 1, "", "the service does not answer"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.commands) + ", " + row.words);
        Emulator emulator;
        emulator.tell(row.commands);
        const Result result = ctl(row.words);
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ(row.shown, result.output);
        EXPECT_TRUE(contains(result.errors, row.error)) << result.errors;
        EXPECT_EQ(row.status != 0, contains(result.errors, "mirvoctl: ")) << result.errors;
    }
    // Whether lines are shown or not.
    setenv("ZRMIRVO_LOG", "silent", 1);
    Emulator emulator;
    emulator.tell("mistype startup");
    const std::string errors = ctl("startup").errors;
    EXPECT_EQ(0u, errors.find("mirvoctl: startup failed with status 1: reply  type error"))
        << errors;
    unsetenv("ZRMIRVO_LOG");
}

TEST_F(MirvoctlTest, aServiceGoesAway) {
    EXPECT_EQ(3, ctl("startup").status);
    EXPECT_TRUE(contains(
        ctl("startup").errors,
        " in " + mFolder.path() + " (from SERVICE_FRAMEWORK_DIR): start it, or mirvo-emulator"));
    {
        Emulator emulator;
        emulator.tell("delay startup 100000");
        Process waiting({MIRVOCTL, "startup"});
        emulator.waitForLine("startup -> result=0 delay=100000");
        emulator.type("die");
        EXPECT_EQ(1, waiting.wait());
        EXPECT_TRUE(contains(waiting.errors(), "reply is null return")) << waiting.errors();
        EXPECT_EQ(128 + SIGKILL, emulator.wait());
    }
    EXPECT_EQ(3, ctl("ids").status);
    {
        Emulator emulator("--version-text 3.6.0");
        emulator.type("hang");
        emulator.waitUntilStopped();
        const Result hung = ctl("version");
        EXPECT_EQ(1, hung.status);
        EXPECT_TRUE(contains(hung.errors, "restart it if it hangs")) << hung.errors;
        emulator.signal(SIGCONT);
        emulator.tell("");
        const Result woken = ctl("version");
        EXPECT_TRUE(contains(woken.output, "service=\"3.6.0\"")) << woken.output;
        emulator.signal(SIGTERM);
        EXPECT_EQ(0, emulator.wait());
    }
    EXPECT_EQ(3, ctl("ids").status);
}

TEST_F(MirvoctlTest, badCommandLinesAreRefused) {
    const struct {
        const char* words;
        const char* error;
    } kRows[] = {
        {"", "A command is required"},
        {"stratup", "stratup"},
        {"config-file", "PATH is required"},
        {"bluetooth name x", "x"},
        {"device", "ID is required"},
        {"device -1 calibrate", "-1"},
        {"device 7 key home", "CODE: neither a name nor a number: home"},
        {"device 7 key 4 sideways", "sideways"},
        {"device 7 touch hover 1,2,3", "ACTION: neither a name nor a number: hover"},
        {"device 7 touch down 1,2", "POINTER: not three numbers: 1,2"},
        {"device 7 touch down --time -1", "--time: not a number in range: -1"},
        {"monitor --until raw", "--until: no such event: raw"},
        {"monitor --count 0", "--count: is 0, so there is nothing to wait for"},
        {"--timeout 0 ids", "--timeout: is 0, in which nothing can be answered"},
        {"--dir \"\" ids", "--dir: the name is empty"},
        {"help nothing", "there is no command nothing"},
        {"device 7 display 1 2 3 4", "V: "},
        {"device 7 feature 1 0", "DATA: not pairs of hexadecimal digits: 0"},
        {"device 7 feature 1 @/nowhere", "DATA: cannot read /nowhere"},
        {"--quiet --verbose ids", "--quiet excludes --verbose"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.words);
        const Result result = ctl(row.words);
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.output);
        EXPECT_TRUE(contains(result.errors, row.error)) << result.errors;
    }
}

TEST_F(MirvoctlTest, aShellKeepsItsConnection) {
    Emulator emulator;
    const Result result = ctl("shell",
                              "startup # now\n\ndevice 7 calibrate\ndevice 7 calibrate\n"
                              "connect \"a b\"\n--json\nids\nquit\nshutdown");
    EXPECT_EQ(2, result.status);
    EXPECT_EQ(
        "startup: ok\nsendCalibrateEvent: ok\nsendCalibrateEvent: ok\nconnect: sent\n"
        "getIds: ok ids=[7]\n",
        result.output);
    emulator.type("quit");
    EXPECT_EQ(0, emulator.wait());
    const std::string& requests = emulator.output();
    EXPECT_EQ(requests.find("getMirvo"), requests.rfind("getMirvo"));
    EXPECT_FALSE(contains(requests, "shutdown"));
}

TEST_F(MirvoctlTest, theTraceIsShownOnRequest) {
    Emulator emulator;
    EXPECT_TRUE(contains(ctl("--verbose startup").errors, "[MirvoManager[c]][startup] [--IN--]"));
}

// What completion offers for the last of these words; an empty one stands behind a blank.
std::string offered(const std::string& words) {
    Process bash({"bash", "-c", R"(source "$0"; program=$1
        ctl() { $ZRMIRVO_RUNNER "$program" "$@"; }
        COMP_WORDS=(ctl $2)
        [[ $2 == *[!\ ] ]] || COMP_WORDS+=('')
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _mirvoctl; printf '%s ' "${COMPREPLY[@]}")",
                  COMPLETION, MIRVOCTL, words});
    EXPECT_EQ(0, bash.wait()) << bash.errors();
    return bash.output();
}

TEST_F(MirvoctlTest, completionOffersWhatFits) {
    const struct {
        const char* words;
        const char* offered;
    } kRows[] = {
        {"",
         "version startup shutdown connect disconnect config-file bluetooth ids hid-descriptor"
         " device monitor shell replay help recording "},
        {"--json device 7 ",
         "key touch calibrate cook-key cook-touch cook-calibrate landscape"
         " focus pairing time-date display feature "},
        {"device 7 key vol", "volume-up volume-down "},
        {"device 7 key back ", "down up "},
        {"device 7 touch --time 3 ", "down up move pointer-down "},
        {"device 7 focus 1 ", "on off "},
        {"device ", "7 8 "},
        {"monitor 7 ", "7 8 "},
        {"monitor --until onA", "onAttach "},
        {"monitor --t", "--timestamps --timeout "},
        {"recording ", "show stats diff script "},
        {"recording show --f", "--failed --from "},
        {"startup ", " "},
    };
    Emulator emulator;
    emulator.tell("ids 7 8");
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.words);
        std::string found;
        // A service that takes its time is not waited for.
        EXPECT_TRUE(eventually([&] { return (found = offered(row.words)) == row.offered; }))
            << found;
    }
    // A TAB does not wait for a service that hangs.
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "1000000", 1);
    emulator.type("hang");
    emulator.waitUntilStopped();
    EXPECT_EQ(" ", offered("device "));
    emulator.signal(SIGCONT);
}

// Through a shell, which has what it takes to lose a reader.
TEST_F(MirvoctlTest, standardOutputThatFailsEndsTheTool) {
    const struct {
        const char* command;
        int status;
        const char* output;
        const char* error;
    } kRows[] = {
        // The service sends nothing after these lines.
        {"$CTL monitor | head -1; echo ${PIPESTATUS[0]}", 0, "monitoring accessories=[7]\n0\n", ""},
        {"$CTL monitor | grep -m1 monitoring; echo ${PIPESTATUS[0]}", 0,
         "monitoring accessories=[7]\n0\n", ""},
        {"$CTL monitor >/dev/full", 5, "", "cannot write to standard output: No space left"},
        {"$CTL ids >/dev/full", 5, "", "cannot write to standard output: No space left"},
        {"$CTL --help >/dev/full", 5, "", "cannot write to standard output: No space left"},
        {"$CTL ids >&-", 5, "", "cannot write to standard output: Bad file descriptor"},
        {"$CTL shell <<<ids >/dev/full", 5, "", "cannot write to standard output: No space left"},
        {"$CTL ids 2>&- <&-", 0, "getIds: ok ids=[7]\n", ""},
    };
    Emulator emulator;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.command);
        Process bash(
            {"bash", "-c", R"(CTL="$ZRMIRVO_RUNNER $0"; )" + std::string(row.command), MIRVOCTL});
        EXPECT_EQ(row.status, bash.wait());
        EXPECT_EQ(row.output, bash.output());
        EXPECT_TRUE(contains(bash.errors(), row.error)) << bash.errors();
        EXPECT_EQ(row.status != 0, contains(bash.errors(), "mirvoctl: ")) << bash.errors();
    }
}

TEST_F(MirvoctlTest, optionsFindTheService) {
    // Its folder is made by the emulator.
    const std::string folder = mFolder.path() + "/other";
    Process waiting({MIRVOCTL, "--dir", folder, "--wait", "60000", "startup"});
    Process emulator({MIRVO_EMULATOR, "--dir", folder});
    emulator.waitForLine("startup -> result=0");
    EXPECT_EQ(0, waiting.wait());
    EXPECT_EQ("startup: ok\n", waiting.output());
    EXPECT_EQ("", waiting.errors());
    EXPECT_EQ(3, ctl("startup").status);
    EXPECT_TRUE(contains(ctl("--dir /none startup").errors, " in /none (from --dir): start it"));

    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "1000000", 1);
    emulator.signal(SIGSTOP);
    EXPECT_EQ(1, ctl("--timeout 100 --dir " + folder + " version").status);
    emulator.signal(SIGCONT);
    EXPECT_EQ("mirvoctl 3.6.6\n", ctl("--version").output);
}

// At a terminal: a pseudo-terminal, and in it whatever runs the tool.
TEST_F(MirvoctlTest, aShellAtATerminalEditsAndCompletes) {
    setenv("XDG_STATE_HOME", mFolder.path().c_str(), 1);
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "1000000", 1);
    const std::vector<std::string> shell = {
        "bash", "-c", R"(TERM=xterm script -qefc "exec $ZRMIRVO_RUNNER $0 shell" /dev/null)",
        MIRVOCTL};
    // Only at a prompt is what is typed the shell's: before, the terminal itself edits the line,
    // and control-C ends a tool that is at work.
    const auto prompted = [](Process& process) { process.waitForPart("mirvoctl> "); };
    Emulator emulator;
    Process first(shell);
    // Control-A and control-E go to the ends of the line, and TAB completes words.
    prompted(first);
    first.send(
        "vice 7 \x01"
        "de\x05"
        "cal\t\n");
    first.waitForPart("sendCalibrateEvent: ok");
    prompted(first);
    emulator.signal(SIGSTOP);
    // Nobody waits for the accessories of a service that hangs.
    first.send("device \t\x15help quit\n");
    first.waitForPart("End the shell.");
    // Control-C leaves the line and not the shell.
    prompted(first);
    first.send("startup\x03");
    prompted(first);
    first.send("quit\n");
    EXPECT_EQ(0, first.wait()) << first.output();
    emulator.signal(SIGCONT);
    emulator.tell("");
    EXPECT_FALSE(contains(emulator.output(), "startup")) << emulator.output();
    Process second(shell);
    prompted(second);
    // Behind "quit" and "help quit", the line of the shell before.
    second.send("\x10\x10\x10\n");
    second.waitForPart("sendCalibrateEvent: ok");
    unsetenv("XDG_STATE_HOME");

    // Completion finds files, those that have not been begun included.
    prompted(second);
    mFolder.write("only-one", "");
    second.send("config-file " + mFolder.path() + "/only\t\x15");
    second.waitForPart("/only");
    second.waitForPart("-one");
    second.send("\n");

    // What is typed during a command is kept, the end of the input included.
    prompted(second);
    emulator.tell("delay sendCalibrateEvent 300");
    second.send("device 7 calibrate\n");
    emulator.waitForLine("sendCalibrateEvent accessory=7 -> result=0 delay=300");
    second.send("help quit\n\x04");
    EXPECT_EQ(0, second.wait()) << second.output();
    EXPECT_TRUE(contains(second.output(), "End the shell.")) << second.output();
}

}  // namespace
}  // namespace tools_test

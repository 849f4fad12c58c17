// mirvoctl as a process, against the emulator as another.

#include <csignal>
#include <memory>
#include <sstream>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

class MirvoctlTest : public ToolsTest {};

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
        {"--json shutdown", "shutdown -> result=0", "{\"operation\":\"shutdown\",\"status\":0}\n"},
        {"connect \"a phone\"", "connect arg=\"a phone\" -> result=0", "connect: sent\n"},
        {"disconnect", "disconnect arg=\"\" -> result=0", "disconnect: sent\n"},
        {"config-file /etc/p.conf", "setConfigFile path=\"/etc/p.conf\" -> result=0",
         "setConfigFile: ok\n"},
        {"--quiet bluetooth name -2", "setBluetoothConfig text=\"name\" value=-2 -> result=0", ""},
        {"--quiet ids", "getIds -> ids=[7]", "getIds: ok ids=[7]\n"},
        {"hid-descriptor", "getHidDescriptor -> result=0 bytes=\"0541C0\"",
         "getHidDescriptor: ok bytes=\"0541C0\" text=\".A.\"\n"},
        {"device 7 key back up", "sendKeyEvent accessory=7 keyCode=4 flag=false -> result=0",
         "sendKeyEvent: ok\n"},
        {"device 7 key 24", "sendKeyEvent accessory=7 keyCode=5 flag=false -> result=0",
         "sendKeyEvent: ok\nsendKeyEvent: ok\n"},
        {"device 7 touch move 1,2,3 4,5,6 --time 9 --extra -1",
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
         "{\"operation\":\"cookTouchEvent\",\"status\":0,\"bytes\":"
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
    emulator.tell("descriptor-bytes 05 41 C0");
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.words);
        const Result result = ctl(row.words);
        EXPECT_EQ(0, result.status);
        EXPECT_EQ(row.shown, result.output);
        EXPECT_EQ("", result.errors);
        emulator.waitForLine(row.request);
    }
    const Result asked = ctl("device 7 time-date");
    EXPECT_EQ(0, asked.status);
    EXPECT_TRUE(contains(asked.output, "onTimeDateResponse accessory=7 date1=20")) << asked.output;
}

TEST_F(MirvoctlTest, eventsReachTheMonitor) {
    const struct {
        const char* command;
        const char* shown;
    } kRows[] = {
        {"state 7 3", "onRunningStateChange accessory=7 state=3"},
        {"unavailable 7", "onControlUnavailable accessory=7"},
        {"orientation 7 -1", "onScreenOrientationChange accessory=7 orientation=-1"},
        {"request 7 1 -2", "onDeviceRequest accessory=7 param1=1 param2=-2"},
        {"request-data 7 48 69", R"(onDeviceRequestData accessory=7 data="4869" text="Hi")"},
        {"response 7", "onDeviceResponse accessory=7"},
        {"time-date 7 1 2 3 4 5 6 7 8 9",
         "onTimeDateResponse accessory=7 date1=1 date2=2 date3=3 hour=4 minute=5 second=6"
         " fraction=7 week=8 dayOfWeek=9"},
        {"descriptor 7 05C0", R"(onHidReportDescriptor accessory=7 data="05C0" text="..")"},
        {"hid 7", R"(onHidEvent accessory=7 data="" text="")"},
        {"raw 7 4 41", R"(onHidEvent accessory=7 data="41" text="A")"},
        {"notify 7 1 0x10", "onRunningStateChange accessory=7 state=16"},
        {"attach 8", "onAttach accessoryId=8"},
        {"ids 7 8", "monitoring accessories=[7,8]"},
        {"hid 8 42", R"(onHidEvent accessory=8 data="42" text="B")"},
        {"detach 8", "onDetach accessoryId=8"},
    };
    Emulator emulator;
    Process monitor({MIRVOCTL, "monitor"});
    Process other({MIRVOCTL, "--json", "monitor", "9"});
    monitor.waitForLine("monitoring accessories=[7]");
    other.waitForLine(R"({"event":"monitoring","accessories":[]})");
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.command);
        emulator.tell(row.command);
        monitor.waitForLine(row.shown);
    }
    // A device error makes the library disconnect.
    emulator.type("error 7 -3");
    emulator.waitForLine("disconnect arg=\"\" -> result=0");
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.wait());

    emulator.tell("attach 9");
    other.waitForLine(R"({"event":"monitoring","accessories":[9]})");
    emulator.tell("hid 9 43");
    other.waitForLine(R"({"event":"onHidEvent","accessory":9,"data":"43","text":"C"})");
    emulator.type("die");
    EXPECT_EQ(3, other.wait());
    EXPECT_FALSE(contains(other.output(), "\"accessory\":7")) << other.output();
    EXPECT_TRUE(contains(other.output(), "{\"event\":\"onError\"}")) << other.output();
    EXPECT_TRUE(contains(other.errors(), "the service is gone: start it again"));
    EXPECT_EQ(128 + SIGKILL, emulator.wait());
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
        {"mistype startup", "startup", 1, "startup: status 1\n",
         "target :MVServiceReply::COMMON curr: 131"},
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
}

TEST_F(MirvoctlTest, aServiceGoesAway) {
    EXPECT_EQ(3, ctl("startup").status);
    EXPECT_TRUE(contains(ctl("startup").errors, "start it, or mirvo-emulator in its place"));
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
    EXPECT_EQ(requests.find("getVersion"), requests.rfind("getVersion"));
    EXPECT_EQ(requests.find("getMirvo"), requests.rfind("getMirvo"));
    EXPECT_FALSE(contains(requests, "shutdown"));
}

TEST_F(MirvoctlTest, aShellFindsTheServiceAgain) {
    auto emulator = std::make_unique<Emulator>();
    Process shell({MIRVOCTL, "shell"});
    shell.type("device 7 calibrate");
    shell.waitForLine("sendCalibrateEvent: ok");
    emulator->type("die");
    emulator->wait();
    emulator = std::make_unique<Emulator>();
    // The loss is told on a thread of its own; until then the commands fail.
    for (int i = 0; i < 10000 && !contains(shell.output(), "startup: ok\n"); ++i) {
        shell.type("startup");
        shell.type("version");
        shell.waitForLine(R"(getVersion: ok library="3.6.6" service="3.6.6")");
    }
    shell.type("device 7 calibrate");
    shell.waitForLine("sendCalibrateEvent: ok");
}

TEST_F(MirvoctlTest, theTraceIsShownOnRequest) {
    Emulator emulator;
    EXPECT_TRUE(contains(ctl("--verbose startup").errors, "[MirvoManager[c]][startup] [--IN--]"));
}

TEST_F(MirvoctlTest, completionKnowsTheCommands) {
    for (const std::string words : {"", "device 7"}) {
        SCOPED_TRACE(words);
        std::istringstream help(ctl(words + " --help").output);
        std::string line;
        while (std::getline(help, line) && line != "Subcommands:") {
        }
        std::string commands;
        while (std::getline(help, line) && !line.empty())
            commands += line.substr(2, line.find(' ', 2) - 2) + "\n";
        Process bash({"bash", "-c", R"(source "$0"; COMP_WORDS=(mirvoctl $1 "")
            COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _mirvoctl; printf '%s\n' "${COMPREPLY[@]}")",
                      COMPLETION, words});
        EXPECT_EQ(0, bash.wait()) << bash.errors();
        EXPECT_FALSE(commands.empty());
        EXPECT_EQ(commands, bash.output());
    }
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

}  // namespace
}  // namespace tools_test

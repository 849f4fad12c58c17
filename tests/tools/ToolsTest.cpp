// Both tools as processes, against each other.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tool/Text.h"

namespace tools_test {
namespace {

using ::testing::Test;
using testing_support::Folder;
using testing_support::Process;

// Long enough for an answer, so that nothing but a missing one takes it.
constexpr const char* kTimeoutMs = "3000";

std::vector<std::string> commandLine(const char* program, const std::string& words) {
    std::vector<std::string> all{program};
    const auto split = tool::splitWords(words);
    all.insert(all.end(), split->begin(), split->end());
    return all;
}

// An emulator, with accessory 7, that is told by its standard input what to do.
class Emulator : public Process {
public:
    explicit Emulator(const std::string& options = "")
        : Process(commandLine(MIRVO_EMULATOR, options)) {
        waitForLine("ready: mirvo.accessory.manager");
        tell("ids 7");
    }

    // Returns when it is done.
    void tell(const std::string& command) {
        type(command);
        const std::string mark = "notify 0 99 " + std::to_string(++mMarks);
        type(mark);
        waitForLine("> " + mark);
    }

private:
    int mMarks = 0;
};

class ToolsTest : public Test {
protected:
    ToolsTest() {
        setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", kTimeoutMs, 1);
        // A program that has ended is no reason for the test to end.
        ::signal(SIGPIPE, SIG_IGN);
    }

    struct Result {
        int status;
        std::string output;
        std::string errors;
    };

    static Result ctl(const std::string& words, const std::string& input = "") {
        Process process(commandLine(MIRVOCTL, words));
        if (!input.empty()) process.type(input);
        process.closeInput();
        const int status = process.wait();
        return {status, process.output(), process.errors()};
    }

    Folder mFolder;
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(ToolsTest, CommandsReachTheService) {
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

TEST_F(ToolsTest, EventsReachTheMonitor) {
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

TEST_F(ToolsTest, AnswersDecideTheExitStatus) {
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

TEST_F(ToolsTest, AServiceGoesAway) {
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

// Without a service, since nothing of this may even look for one.
TEST_F(ToolsTest, BadCommandLinesAreRefused) {
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

TEST_F(ToolsTest, AShellKeepsItsConnection) {
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

TEST_F(ToolsTest, AShellFindsTheServiceAgain) {
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

TEST_F(ToolsTest, TheTraceIsShownOnRequest) {
    Emulator emulator;
    EXPECT_TRUE(contains(ctl("--verbose startup").errors, "[MirvoManager[c]][startup] [--IN--]"));
}

TEST_F(ToolsTest, MistakesInScriptsHaveTheirLine) {
    const struct {
        const char* script;
        const char* errors;
    } kRows[] = {
        {"attach 7\n\n# fine\nflatten 7\nattach\nattach 4294967296\nattach 7 8\n",
         ":4: no such command: flatten\n"
         ":5: accessory id is missing (usage: attach ID)\n"
         ":6: accessory id is not a number in range: 4294967296 (usage: attach ID)\n"
         ":7: too many words (usage: attach ID)\n"},
        {"hid 7 0", ":1: bytes are not pairs of hexadecimal digits: 0"},
        {"request-data 7 0001020304050607080910111213141516171819202122232425262728293031323334"
         "353637",
         ":1: more than 36 bytes"},
        {"answer start 1", ":1: no such operation: start"},
        {"once attach 7", ":1: only answers follow once"},
        {"version \"3.6", ":1: a quote stays open"},
        {"end", ":1: end without repeat"},
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
    }
    Process missing({MIRVO_EMULATOR, "--script", mFolder.path() + "/none"});
    EXPECT_EQ(2, missing.wait());
    EXPECT_TRUE(contains(missing.errors(), "none: No such file or directory"));

    Process piped({MIRVO_EMULATOR});
    piped.type("attach 7\nflatten 7\nattach 8");
    EXPECT_EQ(2, piped.wait());
    EXPECT_TRUE(contains(piped.errors(), "<stdin>:2: no such command: flatten"));
    EXPECT_FALSE(contains(piped.output(), "attach 8"));

    // A terminal, and in it whatever runs the emulator.
    Process typed({"bash", "-c", R"(script -qec "$ZRMIRVO_RUNNER $0" /dev/null)", MIRVO_EMULATOR});
    typed.type("flatten 7\nattach 8\nquit");
    EXPECT_EQ(0, typed.wait()) << typed.errors();
    EXPECT_TRUE(contains(typed.output(), "<stdin>:1: no such command: flatten"));
    EXPECT_TRUE(contains(typed.output(), "> attach 8"));
}

TEST_F(ToolsTest, AScriptFollowsTheRequests) {
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
    Process emulator({MIRVO_EMULATOR, "--json", "--exit-when-idle", "--script", script});
    emulator.waitForLine(R"({"ready":"mirvo.accessory.manager"})");
    Process shell({MIRVOCTL, "shell"});
    const auto event = [&](const char* command) {
        emulator.waitForLine(std::string(R"({"event":")") + command + "\"}");
    };
    shell.type("startup");
    event("state 1 1");
    shell.type("device 8 calibrate");
    for (const char* command : {"state 2 2", "state 3 3", "state 3 3", "state 2 2", "state 3 3"})
        event(command);
    shell.type("device 7 calibrate");
    emulator.waitForLine(
        "{\"request\":\"sendCalibrateEvent\",\"accessory\":7,\"arguments\":{},"
        "\"answer\":{\"result\":0}}");
    event("state 4 4");
    shell.type("startup");
    emulator.waitForLine(R"({"request":"startup","arguments":{},"answer":{"result":0}})");
    event("state 5 5");
    shell.closeInput();
    EXPECT_EQ(1, shell.wait());
    EXPECT_EQ(
        "startup: status 5\nsendCalibrateEvent: status 6\nsendCalibrateEvent: ok\n"
        "startup: ok\n",
        shell.output());
    EXPECT_EQ(0, emulator.wait());
}

TEST_F(ToolsTest, WhatWasAskedBeforeTheEndIsAnswered) {
    const std::string script = mFolder.write("script", "wait-for shutdown\nquit\n");
    for (int i = 0; i < 20; ++i) {
        Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
        emulator.waitForLine("ready: mirvo.accessory.manager");
        EXPECT_EQ("shutdown: ok\n", ctl("shutdown").output);
        EXPECT_EQ(0, emulator.wait());
    }
}

TEST_F(ToolsTest, CompletionKnowsTheCommands) {
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

}  // namespace
}  // namespace tools_test

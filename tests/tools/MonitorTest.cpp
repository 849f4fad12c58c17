// mirvoctl's monitor as a process, against the emulator as another.

#include <csignal>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

class MonitorTest : public ToolsTest {};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST_F(MonitorTest, eventsReachTheMonitor) {
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
        {"attach 8", "onAttach accessory=8"},
        {"ids 7 8", "monitoring accessories=[7,8]"},
        {"hid 8 42", R"(onHidEvent accessory=8 data="42" text="B")"},
        {"detach 8", "onDetach accessory=8"},
    };
    Emulator emulator;
    Process monitor({MIRVOCTL, "monitor"});
    Process other({MIRVOCTL, "--json", "monitor", "9"});
    monitor.waitForLine("monitoring accessories=[7]");
    waitForJson(other, R"({"event":"monitoring","accessories":[]})");
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
    waitForJson(other, R"({"event":"monitoring","accessories":[9]})");
    emulator.tell("hid 9 43");
    waitForJson(other, R"({"event":"onHidEvent","accessory":9,"data":"43","text":"C"})");
    emulator.type("die");
    EXPECT_EQ(3, other.wait());
    EXPECT_FALSE(contains(other.output(), "\"accessory\":7")) << other.output();
    EXPECT_TRUE(contains(other.output(), "\"event\":\"onError\"}")) << other.output();
    EXPECT_TRUE(contains(other.errors(), "the service is gone: start it again"));
    EXPECT_EQ(128 + SIGKILL, emulator.wait());
}

TEST_F(MonitorTest, limitsEndIt) {
    const struct {
        const char* words;
        const char* last;
    } kRows[] = {
        {"monitor --count 2", "onScreenOrientationChange accessory=7 orientation=2\n"},
        {"monitor --until onHidEvent", "onHidEvent accessory=7 data=\"41\" text=\"A\"\n"},
        {"monitor --until hid --for 60000", "data=\"41\" text=\"A\"\n"},
    };
    Emulator emulator;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.words);
        Process monitor(commandLine(MIRVOCTL, row.words));
        monitor.waitForLine("monitoring accessories=[7]");
        emulator.tell("state 7 1\norientation 7 2\nhid 7 41\nresponse 7");
        EXPECT_EQ(0, monitor.wait());
        EXPECT_TRUE(endsWith(monitor.output(), row.last)) << monitor.output();
    }
    Process timed({MIRVOCTL, "monitor", "--timestamps"});
    timed.waitForLineThat("[MS] monitoring", [](const std::string& line) {
        return line[0] == '[' && endsWith(line, "] monitoring accessories=[7]");
    });
}

TEST_F(MonitorTest, itTellsWhetherItHasListened) {
    const struct {
        const char* options;
        int status;
        const char* error;
    } kRows[] = {
        {"", 0, ""},
        {" --until onAttach", 4, "no onAttach came, but 0 events: ended by --for\n"},
        {" --count 100", 4, "not as many events as --count asks for came, but 0 events: ended by"},
    };
    constexpr const char* kDeaf =
        "no service had answered monitor's first requests: ended by --for\n";
    Emulator emulator;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.options);
        Result result = {1, "", ""};
        // How long it takes to begin is not known.
        for (int ms = 50; result.status == 1 && ms < 100'000; ms *= 2)
            result = ctl("monitor --for " + std::to_string(ms) + row.options);
        EXPECT_EQ(row.status, result.status);
        EXPECT_TRUE(contains(result.errors, row.error)) << result.errors;
        EXPECT_EQ("monitoring accessories=[7]\n", result.output);
    }
    emulator.signal(SIGSTOP);
    for (const char* words : {"monitor --for 1", "monitor --follow --for 1 --until onAttach"}) {
        const Result hung = ctl(words);
        EXPECT_EQ(1, hung.status);
        EXPECT_TRUE(contains(hung.errors, kDeaf)) << hung.errors;
    }
}

// With requests under way that take longer than the test may.
TEST_F(MonitorTest, controlCEndsItAtOnce) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "1000000", 1);
    Emulator emulator;
    emulator.tell("ids 1 2 3\nsilent getMirvo");
    Process monitor({MIRVOCTL, "--json", "monitor"});
    emulator.waitForLine("getMirvo accessory=1 -> silent");
    monitor.signal(SIGINT);
    EXPECT_EQ(1, monitor.wait());
    EXPECT_TRUE(contains(monitor.output(), R"("events":0,"ended":"signal")")) << monitor.output();
}

TEST_F(MonitorTest, accessoriesBeyondTheTenthAreWatchedWhenNamed) {
    Emulator emulator;
    emulator.tell("ids 1 2 3 4 5 6 7 8 9 10 11 12");
    Process monitor({MIRVOCTL, "monitor", "12"});
    monitor.waitForLine("monitoring accessories=[12]");
    emulator.tell("hid 12 41");
    monitor.waitForLine("onHidEvent accessory=12 data=\"41\" text=\"A\"");
    Process all({MIRVOCTL, "monitor"});
    all.waitForLine("monitoring accessories=[1,2,3,4,5,6,7,8,9,10]");
    EXPECT_TRUE(contains(all.errors(), "lists ten accessories at most")) << all.errors();
}

TEST_F(MonitorTest, itFollowsTheServiceThroughALoss) {
    Process monitor({MIRVOCTL, "monitor", "--follow"});
    for (int i = 0; i < 2; ++i) {
        Emulator emulator;
        // The monitor may have asked before the accessory was there.
        emulator.tell("attach 7");
        monitor.waitForLine("monitoring accessories=[7]");
        emulator.tell("hid 7 42");
        monitor.waitForLine("onHidEvent accessory=7 data=\"42\" text=\"B\"");
        emulator.type("die");
        monitor.waitForLine("onError");
        monitor.waitForLine("lost reason=\"the service is gone\"");
    }
    monitor.signal(SIGTERM);
    EXPECT_EQ(0, monitor.wait());
}

// Nobody reads what a stopped monitor gets; the service lives, and the monitor says so.
TEST_F(MonitorTest, itTellsThatItWasCutOff) {
    Process emulator({"bash", "-c",
                      R"(exec $ZRMIRVO_RUNNER "$0" --quiet --script "$1" --then-prompt 2>&1)",
                      MIRVO_EMULATOR, mFolder.write("script", "ids 7\n")});
    const auto waitFor = [](Process& process, const std::string& part) {
        process.waitForLineThat(part,
                                [&](const std::string& line) { return contains(line, part); });
    };
    waitFor(emulator, "ready: ");
    Process monitor({MIRVOCTL, "monitor", "--follow"});
    waitFor(monitor, "monitoring accessories=");
    monitor.signal(SIGSTOP);
    emulator.type("repeat 3000\nhid 7 " + std::string(32768, 'A') + "\nend");
    waitFor(emulator, "is cut off: it does not keep up");
    monitor.signal(SIGCONT);
    monitor.waitForLine(
        "lost reason=\"the service lives, but has cut mirvoctl off: it does not keep up with its"
        " notifications\"");
    // And it is there again.
    waitFor(monitor, "monitoring accessories=[7]");
}

}  // namespace
}  // namespace tools_test

// The emulator on a bad day: output that nobody reads, bursts, endless scripts, large messages.

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

using testing_support::eventually;

class EmulatorLoadTest : public ToolsTest {
protected:
    // A program of bash in which "$0" is the emulator, run as everything that was built here is.
    static std::vector<std::string> bash(const std::string& program) {
        const char* runner = getenv("ZRMIRVO_RUNNER");
        const std::string start = std::string("emulator() { exec ") +
                                  (runner == nullptr ? "" : runner) + " \"$emulator\" \"$@\"; }\n";
        return {"bash", "-c", "emulator=$0\n" + start + program, MIRVO_EMULATOR};
    }

    static long residentKilobytes(pid_t process) {
        std::ifstream status("/proc/" + std::to_string(process) + "/status");
        for (std::string word; status >> word;) {
            long kilobytes = 0;
            if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
        }
        return 0;
    }
};

TEST_F(EmulatorLoadTest, aSignalEndsAScriptThatNeverWaits) {
    for (const char* body : {"state 7 1\n", "", "ids 7\n"}) {
        SCOPED_TRACE(body);
        const std::string script =
            mFolder.write("script", std::string("repeat 4000000000\n") + body + "end\n");
        Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
        emulator.waitForLine(readyLine());
        emulator.signal(SIGTERM);
        EXPECT_EQ(0, emulator.wait());
    }
}

TEST_F(EmulatorLoadTest, signalsDoNotTakeItsLastLine) {
    for (int i = 0; i < 10; ++i) {
        Process emulator({MIRVO_EMULATOR, "--json"});
        emulator.waitForPart("ready");
        while (!emulator.ended()) {
            emulator.signal(SIGTERM);
            // Without a pause it would do little but receive signals.
            usleep(50);
        }
        EXPECT_EQ(0, emulator.wait());
        EXPECT_TRUE(contains(emulator.output(), R"("end":true,"exit":0)")) << emulator.output();
    }
}

TEST_F(EmulatorLoadTest, outputThatNobodyReadsHoldsNothingUp) {
    // A pipe that stays open and is never read.
    mFolder.write("script", "on startup\nto 999999 attach 7\nend\n");
    Process emulator(
        bash("cd $SERVICE_FRAMEWORK_DIR; mkfifo pipe; exec 3<>pipe\n"
             "emulator --script script </dev/null >pipe 2>&1"));
    ASSERT_TRUE(eventually([] { return ctl("version").status == 0; }));
    std::string requests;
    for (int i = 0; i < 6000; ++i)
        requests += "startup\n";
    const Result result = ctl("--quiet shell", requests + "ids");
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("getIds: ok ids=[]\n", result.output);
    emulator.signal(SIGTERM);
    EXPECT_EQ(0, emulator.wait());
}

TEST_F(EmulatorLoadTest, droppedLinesAreCountedInALineOfTheirOwn) {
    std::string requests;
    for (int i = 0; i < 8; ++i)
        requests += "connect " + std::string(1'000'000, 'A') + "\n";
    const struct {
        const char* options;
        const char* line;
    } kRows[] = {{"--timestamps", R"(\[[0-9]+\] dropped [0-9]+ lines that nobody read in time)"},
                 {"--json", R"(\{"time":[0-9]+,"dropped":[0-9]+\})"}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.options);
        const std::string pipe = mFolder.path() + "/pipe" + row.options;
        Process emulator(bash("mkfifo " + pipe + "\nexec 3<>" + pipe + "\nemulator " + row.options +
                              " </dev/null >" + pipe));
        ASSERT_TRUE(eventually([] { return ctl("version").status == 0; }));
        ctl("--quiet shell", requests);
        Process reader({"cat", pipe});
        emulator.signal(SIGTERM);
        EXPECT_EQ(0, emulator.wait());
        reader.wait();
        const std::regex line(row.line);
        reader.waitForLineThat(row.line, [&](const std::string& found) {
            return found.size() < 100 && std::regex_match(found, line);
        });
    }
}

TEST_F(EmulatorLoadTest, aReaderThatHasGoneEndsIt) {
    Process gone(bash("emulator | head -1; exit ${PIPESTATUS[0]}"));
    EXPECT_EQ(0, gone.wait());
    EXPECT_EQ(readyLine() + "\n", gone.output());

    Process full(bash("emulator </dev/null >/dev/full"));
    EXPECT_EQ(5, full.wait());
    EXPECT_TRUE(contains(full.errors(), "cannot write to standard output: No space left"));
}

TEST_F(EmulatorLoadTest, noServiceStaysBehindWhoseProcessIdNobodyKnows) {
    Process full(bash("emulator --background >/dev/full"));
    EXPECT_EQ(5, full.wait()) << full.errors();
    EXPECT_EQ(3, ctl("ids").status);

    // The starter is killed while the emulator reads its script, and what only the emulator then
    // has open is closed when that ends.
    Process killed(
        bash("cd $SERVICE_FRAMEWORK_DIR; mkfifo script alive; exec 8<>alive\n"
             "emulator --background --script script 8>&- 9>alive &\n"
             "exec 7>script 9<alive 8>&-; kill -9 $!; exec 7>&-; cat <&9"));
    EXPECT_EQ(0, killed.wait());
    EXPECT_EQ(3, ctl("ids").status);
}

TEST_F(EmulatorLoadTest, theAnswerLeavesBeforeWhatAScriptDoesNext) {
    const std::string script = mFolder.write("script", "wait-for shutdown\ndie\n");
    for (int i = 0; i < 20; ++i) {
        Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
        emulator.waitForLine(readyLine());
        EXPECT_EQ("shutdown: ok\n", ctl("shutdown").output);
        EXPECT_EQ(128 + SIGKILL, emulator.wait());
    }
    // One that gets no answer counts, too.
    Emulator emulator;
    emulator.tell("silent startup");
    emulator.type("wait-for startup\nstate 7 1\nquit");
    EXPECT_EQ(1, ctl("startup").status);
    EXPECT_EQ(0, emulator.wait());
}

TEST_F(EmulatorLoadTest, aBurstReachesAClientThatReads) {
    const std::string script = mFolder.write("script", "ids 7\n");
    Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script, "--then-prompt"});
    emulator.waitForLine(readyLine());
    // Counts the events, since nobody needs to keep them.
    Process monitor({"bash", "-c",
                     "$ZRMIRVO_RUNNER \"$0\" --quiet monitor | { read -r line; echo \"$line\";"
                     " grep -c onHidEvent; }",
                     MIRVOCTL});
    monitor.waitForLine("monitoring accessories=[7]");
    const std::string bytes(2000, '4');
    emulator.type("repeat 60000\nhid 7 " + bytes + "\nend\nquit");
    EXPECT_EQ(0, emulator.wait());
    EXPECT_EQ(0, monitor.wait());
    EXPECT_EQ("monitoring accessories=[7]\n60000\n", monitor.output()) << monitor.errors();
    EXPECT_EQ("", emulator.errors());
}

// The processor time that it takes the emulator to read a line with so many bytes.
double secondsForLineOf(size_t bytes) {
    const auto used = [] {
        rusage usage = {};
        getrusage(RUSAGE_CHILDREN, &usage);
        const auto seconds = [](const timeval& time) {
            return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
        };
        return seconds(usage.ru_utime) + seconds(usage.ru_stime);
    };
    const double before = used();
    Process emulator({MIRVO_EMULATOR, "--quiet"});
    emulator.type("descriptor-bytes " + std::string(bytes * 2, '4'));
    emulator.type("descriptor-bytes 41\nquit");
    EXPECT_EQ(0, emulator.wait()) << emulator.errors();
    return used() - before;
}

// Whoever looks for the end of the line from its beginning each time needs 64 times as long for a
// line that is 8 times as long.
TEST_F(EmulatorLoadTest, aLineMayBeAsLongAsAMessage) {
    const double shortLine = secondsForLineOf(4u << 20);
    EXPECT_LT(secondsForLineOf(32u << 20), shortLine * 20);
}

TEST_F(EmulatorLoadTest, whatNobodyTakesIsCounted) {
    Emulator emulator;
    Process monitor({MIRVOCTL, "monitor"});
    monitor.waitForLine("monitoring accessories=[7]");
    monitor.signal(SIGSTOP);
    emulator.tell("repeat 500\nhid 7 " + std::string(20'000, '4') + "\nend");
    emulator.signal(SIGTERM);
    EXPECT_EQ(0, emulator.wait());
    EXPECT_TRUE(contains(emulator.errors(), " notifications were not taken by their clients"))
        << emulator.errors();
}

TEST_F(EmulatorLoadTest, aProgramIsToldWhatNobodyTakes) {
    Process emulator({MIRVO_EMULATOR, "--json"});
    emulator.type("ids 7");
    emulator.waitForLineThat("ids", [](const std::string& line) { return contains(line, ":1\""); });
    Process monitor({MIRVOCTL, "monitor"});
    monitor.waitForLine("monitoring accessories=[7]");
    monitor.signal(SIGSTOP);
    emulator.type("repeat 500\nhid 7 " + std::string(20'000, '4') + "\nend");
    emulator.waitForLineThat("end", [](const std::string& line) { return contains(line, ":4\""); });
    emulator.signal(SIGTERM);
    EXPECT_EQ(0, emulator.wait());
    emulator.waitForLineThat("more than 0", [](const std::string& line) {
        return contains(line, R"("end":true,"exit":0,"notTaken":)") &&
               !contains(line, R"("notTaken":0})");
    });
}

TEST_F(EmulatorLoadTest, largeMessagesLeaveNoMemoryBehind) {
    const std::string feature = mFolder.write("feature", std::string(16'000'000, 'A'));
    const std::string script = mFolder.write("script", "ids 7\n");
    // The address sanitizer keeps what was freed, unless it is told not to.
    const char* given = getenv("ASAN_OPTIONS");
    const std::string options = given == nullptr ? "" : given;
    setenv("ASAN_OPTIONS", (options + ":quarantine_size_mb=1").c_str(), 1);
    Process emulator({MIRVO_EMULATOR, "--quiet", "--script", script});
    setenv("ASAN_OPTIONS", options.c_str(), 1);
    emulator.waitForLine(readyLine());
    const long before = residentKilobytes(emulator.pid());
    std::string requests;
    for (int i = 0; i < 20; ++i)
        requests += "device 7 feature " + std::to_string(i) + " @" + feature + "\n";
    EXPECT_EQ(0, ctl("--quiet shell", requests).status);
    EXPECT_TRUE(eventually([&] { return residentKilobytes(emulator.pid()) < before + 50'000; }))
        << before << ", " << residentKilobytes(emulator.pid());
}

}  // namespace
}  // namespace tools_test

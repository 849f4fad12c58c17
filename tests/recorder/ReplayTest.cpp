#include <fstream>
#include <sstream>

#include "tests/recorder/Lines.h"
#include "tests/tools/ToolsFixture.h"

// Recordings that are shown, compared, turned into scripts and played again, by the tools that were
// built.

namespace recorder_test {
namespace {

using testing_support::Process;
using tools_test::contains;
using tools_test::Emulator;

class ReplayTest : public tools_test::ToolsTest {
protected:
    ReplayTest() {
        // A command that runs another cannot be run by a third.
        if (getenv("ZRMIRVO_RUNNER") != nullptr) mSkipped = true;
        setenv("ZRMIRVO_LOG", "fatal", 1);
    }
    ~ReplayTest() override { unsetenv("ZRMIRVO_LOG"); }
    void SetUp() override {
        if (mSkipped) GTEST_SKIP() << "programs of another processor cannot start each other";
    }

    static Result run(const char* program, const std::string& words) {
        const LinkOrder order;
        Process process(tools_test::commandLine(program, words));
        process.closeInput();
        const int status = process.wait();
        return {status, process.output(), process.errors()};
    }
    // Runs a program with the emulator as its service, and records it.
    Result record(const std::string& emulator, const std::string& name,
                  const std::string& program) {
        return run(MIRVO_EMULATOR, "--quiet " + emulator + " -- " MIRVO_RECORD " -o " + path(name) +
                                       " -- " + program);
    }
    Result recordScript(const std::string& script, const std::string& name,
                        const std::string& program) {
        return record("--script " + mFolder.write("script", script), name, program);
    }
    std::string path(const std::string& name) const { return mFolder.path() + "/" + name; }
    void expectSame(const std::string& a, const std::string& b) {
        const Result result = ctl("recording diff " + path(a) + " " + path(b));
        EXPECT_EQ(result.status, 0) << result.output;
    }
    // Without times and durations.
    static std::string plain(const std::string& lines) {
        std::string text;
        std::istringstream input(lines);
        for (std::string line; std::getline(input, line);) {
            const size_t begin = line.compare(0, 1, "[") == 0 ? line.find("] ") + 2 : 0;
            const size_t end =
                line.rfind(" ms)") == line.size() - 4 ? line.rfind(" (") : line.size();
            text += line.substr(begin, end - begin) + "\n";
        }
        return text;
    }

    bool mSkipped = false;
};

constexpr const char* kPress = MIRVOCTL " device 7 key menu down";

// The service crashes in it and is found again.
TEST_F(ReplayTest, theDemoIsTheSameInBothDirections) {
    Process service(tools_test::commandLine(MIRVO_EMULATOR, std::string("--script ") + SCENARIO));
    service.waitForLine(tools_test::readyLine());
    const LinkOrder order;
    Process application(
        tools_test::commandLine(MIRVO_RECORD, "-o " + path("a") + " -- " + HEAD_UNIT));
    EXPECT_NE(service.wait(), 0);
    Process next(tools_test::commandLine(MIRVO_EMULATOR, std::string("--script ") + RECOVERY));
    ASSERT_EQ(application.wait(), 0) << application.output();
    next.signal(SIGTERM);

    for (const std::string speed : {"1", "max"}) {
        SCOPED_TRACE(speed);
        const std::string options = "--replay " + path("a") + " --strict --speed " + speed;
        const Result again = record(options, "b", HEAD_UNIT);
        EXPECT_EQ(again.status, 0) << again.output << again.errors;
        EXPECT_TRUE(contains(again.output, "otherwise=0 missing=0 events=17 early=0"))
            << again.output;
        expectSame("a", "b");
        const Result other =
            record(options, "c", MIRVOCTL " replay " + path("a") + " --speed " + speed);
        EXPECT_EQ(other.status, 0) << other.output << other.errors;
        EXPECT_TRUE(contains(other.output, "otherwise=0 ")) << other.output;
        expectSame("a", "c");
    }
}

TEST_F(ReplayTest, whatIsShownIsWhatTheEmulatorPrints) {
    EXPECT_EQ(
        recordScript("ids 7\nanswer sendKeyEvent 5\non sendKeyEvent\nstate 7 1\nend", "a", kPress)
            .status,
        1);
    const std::string show = "recording show " + path("a");
    EXPECT_EQ(plain(ctl(show + " --accessory 7 --only getMirvo --only sendKeyEvent").output),
              "getMirvo accessory=7 -> result=0\n"
              "sendKeyEvent accessory=7 keyCode=2 flag=true -> result=5\n");
    EXPECT_EQ(plain(ctl(show + " --failed").output),
              "sendKeyEvent accessory=7 keyCode=2 flag=true -> result=5\n");
    for (const char* none : {" --accessory 8", " --thread 1", " --slower 100000", " --from 100000"})
        EXPECT_EQ(ctl(show + none).output, "") << none;
    const std::string stats = ctl("recording stats " + path("a")).output;
    EXPECT_TRUE(contains(stats, "\nsendKeyEvent                        1          1 ")) << stats;
    EXPECT_TRUE(contains(stats, "the end of the recording\n")) << stats;

    // Every object of all commands is as the schema says.
    std::string lines = ctl("--json " + show).output;
    EXPECT_TRUE(contains(lines, R"("arguments":{"keyCode":2,"flag":true},"answer":{"result":5})"));
    lines += ctl("--json recording stats " + path("a")).output;
    recordScript("ids 7", "b", kPress);
    const Result diff = ctl("--json recording diff " + path("a") + " " + path("b"));
    EXPECT_EQ(diff.status, 1);
    EXPECT_TRUE(contains(diff.output, R"("difference":"answer","thread":1,"accessory":7)"));
    lines += diff.output + ctl("--json recording script " + path("a")).output;
    const std::string healthy = "--quiet --script " + mFolder.write("script", "ids 7") + " -- ";
    const Result replayed =
        run(MIRVO_EMULATOR, healthy + MIRVOCTL " --json replay " + path("a") + " --patience 10");
    EXPECT_EQ(replayed.status, 1);
    EXPECT_TRUE(contains(replayed.output, R"("answer":{"result":0},"recorded":{"result":5})"));
    lines += replayed.output.substr(replayed.output.find('\n') + 1);
    Process validator({"python3", VALIDATE_LINES, MIRVOCTL_SCHEMA});
    validator.send(lines);
    validator.closeInput();
    EXPECT_EQ(validator.wait(), 0) << validator.errors();
}

TEST_F(ReplayTest, differencesAreTold) {
    recordScript("ids 7\non sendKeyEvent\nstate 7 1\nend", "a", kPress);
    recordScript("ids 7\nanswer sendKeyEvent 5", "b", kPress);
    recordScript("ids 7", "c", MIRVOCTL " device 7 key back down");
    recordScript("ids 7", "d", MIRVOCTL " device 7 touch down 1,2,3");
    recordScript("ids 7", "e", MIRVOCTL " device 7 touch down 1,2,3 --time 9");
    const auto diff = [&](const std::string& words) {
        return plain(ctl("recording diff " + words).output);
    };
    EXPECT_TRUE(contains(diff(path("a") + " " + path("b")),
                         "sendKeyEvent accessory=7 keyCode=2 flag=true -> result=0\n"));
    EXPECT_TRUE(contains(diff(path("b") + " " + path("c")), "keyCode=2"));
    EXPECT_FALSE(contains(diff(path("b") + " " + path("c") + " --ignore keyCode --ignore result"),
                          "sendKeyEvent"));
    expectSame("d", "e");
}

// A request that is asked otherwise, more often, less often or too late.
TEST_F(ReplayTest, anotherApplicationIsNoticed) {
    ASSERT_EQ(recordScript("ids 7\nanswer sendKeyEvent 5", "a", kPress).status, 1);
    const auto play = [&](const std::string& options, const std::string& program) {
        return run(MIRVO_EMULATOR,
                   "--quiet --replay " + path("a") + " " + options + " -- " + program);
    };
    const std::string back = MIRVOCTL " device 7 key back down";
    EXPECT_EQ(play("", back).status, 0);
    EXPECT_EQ(play("--ignore keyCode --strict", back).status, 1);
    const Result other = play("--strict", back);
    EXPECT_EQ(other.status, 4);
    EXPECT_TRUE(contains(other.errors,
                         "the application asked sendKeyEvent accessory=7 keyCode=4 flag=true, but "
                         "the recording has sendKeyEvent accessory=7 keyCode=2 flag=true"))
        << other.errors;
    const Result less = play("--strict", MIRVOCTL " version");
    EXPECT_EQ(less.status, 4);
    EXPECT_TRUE(contains(less.errors, "recorded requests have not come")) << less.errors;
    const Result more = play("", std::string("sh -c \"") + kPress + "; " + kPress + "\"");
    EXPECT_EQ(more.status, 1);
    EXPECT_TRUE(contains(more.output, "again=5 otherwise=0 missing=0")) << more.output;

    // An event whose requests do not come.
    const std::string monitor = "ids 7\nwait-for setNotifier@7\nwait 20\nstate 7 1";
    ASSERT_EQ(recordScript(monitor, "a", MIRVOCTL " monitor 7 --count 1").status, 0);
    const std::string version = MIRVOCTL " version";
    const Result early = play("--patience 10", version);
    EXPECT_TRUE(contains(early.output, "events=1 early=1\n")) << early.output;
    EXPECT_EQ(early.status, 0);
    EXPECT_EQ(play("--patience 10 --strict", version).status, 4);
}

TEST_F(ReplayTest, theScriptOfARecordingIsMetByItsApplication) {
    ASSERT_EQ(recordScript("ids 7 8\nversion 3.6.9\nonce answer sendKeyEvent 5\n"
                           "answer cookKeyEvent bytes 0A0B\nno-reply sendCalibrateEvent",
                           "a",
                           "sh -c \"" MIRVOCTL " --wait 1 shell <" +
                               mFolder.write("input",
                                             "device 7 key menu\ndevice 7 cook-key menu down\n"
                                             "device 8 calibrate\ndevice 9 calibrate\nids\n") +
                               "\"")
                  .status,
              1);
    const std::string script = ctl("recording script " + path("a")).output;
    EXPECT_TRUE(contains(script, "version 3.6.9\nids 7 8\n")) << script;
    EXPECT_TRUE(contains(script, "answer cookKeyEvent@7 bytes 0A0B\n")) << script;
    EXPECT_TRUE(contains(script, "no-reply sendCalibrateEvent@8\n")) << script;
    EXPECT_TRUE(contains(script, "answer sendKeyEvent@7 5\n")) << script;
    EXPECT_FALSE(contains(script, "getMirvo@9 ")) << script;
    recordScript(script, "b", "sh -c \"" MIRVOCTL " --wait 1 shell <" + path("input") + "\"");
    expectSame("a", "b");
}

TEST_F(ReplayTest, whatCannotBeReplayedIsRefused) {
    recordScript("ids 7", "a", "env ZRMIRVO_RECORDING_WITHOUT=text " + std::string(kPress));
    mFolder.write("text", "no recording");
    recordScript("ids 7", "good", kPress);
    recordScript("ids 7", "other", kPress);
    std::ofstream two(path("two"), std::ios::binary);
    for (const char* one : {"good", "other"})
        two << std::ifstream(path(one), std::ios::binary).rdbuf();
    two.close();
    const struct {
        const char* file;
        const char* says;
    } kRows[] = {
        {"none", "the file cannot be read"},
        {"text", "this is no pcapng file"},
        {"a", "without all contents"},
        {"two", "more than one process"},
    };
    for (const auto& row : kRows) {
        const Result emulator = run(MIRVO_EMULATOR, "--replay " + path(row.file));
        const Result tool = ctl("replay " + path(row.file));
        for (const Result& result : {emulator, tool}) {
            EXPECT_EQ(result.status, 2) << row.file << result.errors;
            EXPECT_TRUE(contains(result.errors, row.says)) << result.errors;
        }
    }
    EXPECT_EQ(ctl("recording script " + path("good") + " --life 2").status, 2);
    EXPECT_EQ(ctl("replay " + path("good") + " --patience 10").status, 3);
}

}  // namespace
}  // namespace recorder_test

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/recorder/Lines.h"
#include "tests/tools/ToolsFixture.h"

// The recorder that was built, loaded before applications that talk to the emulator: what is
// recorded, and that the application is as it is without.

namespace recorder_test {
namespace {

using testing_support::Process;
using tools_test::contains;
using tools_test::Emulator;
using Lines = std::vector<std::string>;

// Programs that are started while it lives are recorded.
class Environment {
public:
    explicit Environment(const std::string& file, const std::string& limit = "",
                         const std::string& without = "") {
        setenv("LD_PRELOAD", RECORDER, 1);
        setenv("ZRMIRVO_RECORDING", file.c_str(), 1);
        setenv("ZRMIRVO_RECORDING_LIMIT", limit.c_str(), 1);
        setenv("ZRMIRVO_RECORDING_WITHOUT", without.c_str(), 1);
    }
    ~Environment() {
        for (const char* name : {"LD_PRELOAD", "ZRMIRVO_RECORDING", "ZRMIRVO_RECORDING_LIMIT",
                                 "ZRMIRVO_RECORDING_WITHOUT"}) {
            unsetenv(name);
        }
    }

private:
    const LinkOrder mOrder;
};

class RecorderTest : public tools_test::ToolsTest {
protected:
    // Runs the application in a role.
    static Result app(const std::string& words) {
        Process process(tools_test::commandLine(APPLICATION, words));
        const int status = process.wait();
        return {status, process.output(), process.errors()};
    }
    static void expectGood(const Result& result, const std::string& output) {
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, output) << result.errors;
    }

    std::string path(const std::string& name) const { return mFolder.path() + "/" + name; }
    const std::string mFile = path("recording");
};

TEST_F(RecorderTest, aSessionIsRecordedFromBindingToRelease) {
    Emulator emulator;
    {
        const Environment environment(mFile);
        expectGood(app("tour"), "");
    }
    EXPECT_EQ(faults(mFile), "");
    const Lines expected = {
        "0 begin 0",
        "1 bound",
        "1 listener-set",
        "2 bound",
        R"(2 request getVersion version="")",
        R"(2 reply Version version="3.6.6")",
        "2 unbound",
        R"(1 request setConfigFile path="/etc/a")",
        "1 reply Common result=0",
        "1 request getIds",
        "1 reply AccessoryIds ids=[7]",
        "1 request getMirvo@7",
        "1 reply Common result=0",
        "3 bound",
        "3 listener-set",
        "3 request setNotifier@7",
        "3 reply Common result=0",
        "3 request sendKeyEvent@7 keyCode=4 flag=true",
        "3 reply Common result=0",
        R"(3 request setFeature@7 feature=9 data="0A0B")",
        R"(3 reply RawData result=0 bytes="")",
        "1 request getMirvo@8",
        "1 reply Common result=2",
        "1 listener-removed",
        "1 unbound",
        "3 listener-removed",
        "3 unbound",
    };
    EXPECT_EQ(lines(mFile), expected);

    struct stat status = {};
    ASSERT_EQ(stat(mFile.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(RecorderTest, withoutAFileNothingIsDone) {
    Emulator emulator;
    const size_t before = testing_support::entries(mFolder.path());
    const Environment environment("");
    expectGood(app("keys 3"), "failures 0\n");
    EXPECT_EQ(testing_support::entries(mFolder.path()), before);
}

TEST_F(RecorderTest, aServiceThatDiesAtAnyStepIsRecorded) {
    const struct {
        const char* step;
        const char* request;
        size_t answered;
    } kRows[] = {
        {"getVersion", "getVersion", 0},
        {"startup", "startup", 1},
        {"getIds", "getIds", 2},
        {"getMirvo", "getMirvo@7", 3},
        {"setNotifier", "setNotifier@7", 4},
        {"sendKeyEvent", "sendKeyEvent@7", 5},
        {"shutdown", "shutdown", 6},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.step);
        const auto run = [&] {
            Emulator emulator;
            emulator.tell(std::string("delay ") + row.step + " 100000");
            emulator.type(std::string("arrived ") + row.step + "\ndie");
            return app("session");
        };
        const Result plain = run();
        const Environment environment(mFile);
        const Result recorded = run();
        EXPECT_EQ(recorded.status, plain.status);
        EXPECT_EQ(recorded.output, plain.output);
        EXPECT_EQ(faults(mFile), "");
        const Lines seen = lines(mFile);
        EXPECT_EQ(count(seen, "reply"), row.answered);
        EXPECT_EQ(count(seen, std::string("request ") + row.request), 1u);
        EXPECT_GE(count(seen, "no-reply"), 1u);
    }
}

TEST_F(RecorderTest, aLossIsRecordedAndThatThereIsNoService) {
    auto emulator = std::make_unique<Emulator>();
    const Environment environment(mFile);
    {
        Process waiting(tools_test::commandLine(APPLICATION, "await-loss"));
        waiting.waitForLine("waiting");
        emulator->kill();
        EXPECT_EQ(waiting.wait(), 0) << waiting.errors();
    }
    EXPECT_EQ(faults(mFile), "");
    const Lines seen = lines(mFile);
    EXPECT_EQ(count(seen, "status 2"), 1u);

    expectGood(app("session"), "startup 1\ngetIds 1\ngetMirvo 0\nsendKeyEvent 1\nshutdown 1\n");
    EXPECT_EQ(lines(mFile), (Lines{"0 begin 0", "0 not-bound", "0 not-bound"}));
}

// It answers and notifies on the thread that requests, and nobody but itself knows what its own
// notification can do.
TEST_F(RecorderTest, anotherFrameworkIsRecordedToo) {
    const Environment environment(mFile);
    setenv("LD_LIBRARY_PATH", OTHER_FRAMEWORK, 1);
    expectGood(app("other-service"), "");
    EXPECT_NE(access(mFile.c_str(), F_OK), 0);
    Process process({OTHER_APPLICATION});
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_EQ(process.wait(), 0) << process.errors();
    EXPECT_EQ(process.output(), "service version 3.6.44, startup 42\n");
    EXPECT_EQ(faults(mFile), "");
    EXPECT_EQ(lines(mFile), (Lines{
                                "0 begin 0",
                                "1 bound",
                                "1 listener-set",
                                "2 bound",
                                R"(2 request getVersion version="")",
                                R"(2 reply Version version="3.6.44")",
                                "2 unbound",
                                "1 request startup",
                                "1 notify unknown@42 type=130 notifyType=42",
                                "1 ended",
                                "1 status 1",
                                "1 ended",
                                "1 reply Common result=42",
                                "1 listener-removed",
                                "1 unbound",
                            }));
}

TEST_F(RecorderTest, aLibraryThatIsLoadedForItselfIsRecorded) {
    Emulator emulator;
    const Environment environment(mFile);
    Process process({LOADING_APPLICATION, LIBRARY});
    EXPECT_EQ(process.wait(), 0) << process.errors();
    EXPECT_EQ(count(lines(mFile), "reply Version"), 1u);
}

TEST_F(RecorderTest, manyThreadsAreRecordedAtOnce) {
    std::string ids = "ids";
    for (int id = 1; id <= 64; ++id)
        ids += " " + std::to_string(id);
    const Environment environment(mFile);
    {
        Emulator emulator;
        emulator.tell(ids);
        expectGood(app("threads 64"), "failures 0\n");
    }
    EXPECT_EQ(faults(mFile), "");
    const Lines seen = lines(mFile);
    EXPECT_EQ(count(seen, "request sendKeyEvent@"), 6400u);
    EXPECT_EQ(count(seen, "reply Common result=0"), 6400u + 2 * 64);
    EXPECT_EQ(count(seen, "gap"), 0u);

    // The service is lost among their requests.
    Emulator emulator;
    emulator.tell(ids);
    emulator.tell("delay sendKeyEvent@64 100000");
    emulator.type("arrived sendKeyEvent@64\ndie");
    const Result lost = app("threads 64");
    EXPECT_EQ(lost.output.find("failures "), 0u) << lost.output << lost.errors;
    EXPECT_EQ(faults(mFile), "");
    const Lines left = lines(mFile);
    EXPECT_GE(count(left, "no-reply"), 1u);
    EXPECT_EQ(count(left, "request "), count(left, "reply ") + count(left, "no-reply"));
}

// What an application does about its end and its copies.
TEST_F(RecorderTest, anApplicationMayEndAndMultiplyAsItLikes) {
    const std::string session = "startup 0\ngetIds 0\ngetMirvo 1\nsendKeyEvent 0\nshutdown 0\n";
    Emulator emulator;
    const Environment environment(mFile);
    expectGood(app("leave"), session);
    EXPECT_EQ(count(lines(mFile), "reply"), 7u);

    // Each of the two programs begins a recording, the second one in the place of the first. A
    // program of another processor cannot start a second one.
    if (getenv("ZRMIRVO_RUNNER") == nullptr) {
        expectGood(app("exec"), session + session);
        EXPECT_EQ(count(lines(mFile), "reply"), 7u);
    }

    const Result nulls = app("nulls");
    const Result forked = app("fork");
    unsetenv("LD_PRELOAD");
    expectGood(forked, app("fork").output);
    expectGood(nulls, app("nulls").output);
    EXPECT_EQ(faults(mFile), "");
    EXPECT_EQ(count(lines(mFile), "request startup"), 2u);
    const std::string line = "a forked process does not record";
    EXPECT_EQ(forked.errors.find(line), forked.errors.rfind(line));
    EXPECT_TRUE(contains(forked.errors, line)) << forked.errors;
}

TEST_F(RecorderTest, whatIsToBeLeftOutLeavesItsSize) {
    Emulator emulator;
    emulator.tell("answer cookKeyEvent bytes 4b0405");
    const std::string input =
        "config-file /secret\ndevice 7 key menu down\n"
        "device 7 touch down 300,120,7\ndevice 7 cook-key menu down\n"
        "device 7 feature 9 aabb\nquit";
    const auto recorded = [&](const std::string& without) {
        const Environment environment(mFile, "", without);
        EXPECT_EQ(ctl("shell", input).status, 0);
        std::string text;
        for (const std::string& line : lines(mFile)) {
            for (const char* what :
                 {"setConfigFile", "KeyEvent", "sendTouch", "setFeature", "RawData"}) {
                if (contains(line, what)) text += line.substr(line.find(' ', 4) + 1) + "\n";
            }
        }
        // The time is not compared.
        const size_t time = text.find("time=") + 5;
        return text.replace(time, text.find(' ', time) - time, "T");
    };
    EXPECT_EQ(recorded("text"), R"(setConfigFile path="*******" without 2
sendKeyEvent@7 keyCode=2 flag=true
sendTouchEvent@7 time=T count=1 array1=[300] array2=[120] array3=[7] action=1 extra=0
cookKeyEvent@7 keyCode=2 flag=true
RawData result=0 bytes="4B0405"
setFeature@7 feature=9 data="AABB"
RawData result=0 bytes=""
)");
    EXPECT_EQ(recorded("input,bytes"), R"(setConfigFile path="/secret"
sendKeyEvent@7 keyCode=0 flag=false without 1
sendTouchEvent@7 time=T count=1 array1=[0] array2=[0] array3=[0] action=0 extra=0 without 1
cookKeyEvent@7 keyCode=0 flag=false without 1
RawData result=0 bytes="000000" without 4
setFeature@7 feature=9 data="0000" without 4
RawData result=0 bytes=""
)");
    EXPECT_TRUE(contains(recorded("input"), "bytes=\"000000\" without 1\n"));
}

TEST_F(RecorderTest, aFileThatCannotBeMadeIsReportedOnce) {
    Emulator emulator;
    const std::string victim = mFolder.write("victim", "untouched");
    ASSERT_EQ(symlink(victim.c_str(), path("link").c_str()), 0);
    ASSERT_EQ(link(victim.c_str(), path("second-name").c_str()), 0);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const int taken = open(path("taken").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(taken, LOCK_EX), 0);
    const struct {
        std::string file;
        std::string limit;
        std::string without;
        const char* says;
    } kRows[] = {
        {path("none/file"), "", "", "cannot use the folder of"},
        {mFolder.path(), "", "", "cannot open"},
        {path("link"), "", "", "it is a symbolic link, which is never followed"},
        {path("second-name"), "", "", "it has a second name (a hard link)"},
        {path("pipe"), "", "", "it is no ordinary file"},
        {path("taken"), "", "", "another process records into it"},
        {mFile, "63K", "", "ZRMIRVO_RECORDING_LIMIT is no size of 64K or more: 63K"},
        {mFile, "1T", "", "ZRMIRVO_RECORDING_LIMIT is no size of 64K or more: 1T"},
        {mFile, "", "inputs", "ZRMIRVO_RECORDING_WITHOUT takes input, text and bytes: inputs"},
    };
    for (const auto& row : kRows) {
        const Environment environment(row.file, row.limit, row.without);
        const Result result = app("keys 3");
        expectGood(result, "failures 0\n");
        EXPECT_TRUE(contains(result.errors, row.says)) << result.errors;
        EXPECT_EQ(result.errors.find("MirvoRecorder"), result.errors.rfind("MirvoRecorder"));
        EXPECT_NE(access(mFile.c_str(), F_OK), 0);
    }
    std::ifstream untouched(victim);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(untouched), {}), "untouched");
    close(taken);

    // With its process in the name, each one has a file of its own.
    const Environment environment(path("of-%p"));
    expectGood(app("keys 3"), "failures 0\n");
    expectGood(app("keys 3"), "failures 0\n");
    EXPECT_EQ(testing_support::entries(mFolder.path()), 2 + 5 + 2u);
}

TEST_F(RecorderTest, atHalfTheLimitAnotherFileBegins) {
    Emulator emulator;
    const Environment environment(mFile, "256K");
    expectGood(app("keys 5000"), "failures 0\n");
    struct stat status = {};
    Lines parts[2];
    const std::string names[] = {mFile + ".old", mFile};
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(stat(names[i].c_str(), &status), 0);
        EXPECT_LE(status.st_size, 128 << 10);
        parts[i] = lines(names[i]);
    }
    EXPECT_GT(stat(names[0].c_str(), &status) == 0 ? status.st_size : 0, 100 << 10);
    // It tells of what there was when it began.
    const Lines head(parts[1].begin(), parts[1].begin() + 5);
    const int number = std::stoi(head[0].substr(strlen("0 begin ")));
    EXPECT_GT(number, 3);
    EXPECT_EQ(parts[0][0], "0 begin " + std::to_string(number - 1));
    EXPECT_EQ(Lines(head.begin() + 1, head.end()),
              (Lines{"1 bound", "1 listener-set", "3 bound", "3 listener-set"}));
    EXPECT_EQ(parts[1].back(), "3 unbound");
}

TEST_F(RecorderTest, whatDoesNotFitIsCounted) {
    // It prints none of the bytes, which takes long under a sanitizer.
    const std::string script = mFolder.write("script", "ids 7");
    Process emulator(tools_test::commandLine(MIRVO_EMULATOR, "--quiet --script " + script));
    emulator.waitForLine(tools_test::readyLine());
    const Environment environment(mFile);
    expectGood(app("feature 4100000"), "setFeature 0\n");
    const Lines small = lines(mFile);
    EXPECT_EQ(count(small, "request setFeature@7 feature=9 data=\"78"), 1u);
    EXPECT_EQ(count(small, "gap"), 0u);
    expectGood(app("feature 5000000"), "setFeature 0\n");
    const Lines large = lines(mFile);
    EXPECT_EQ(count(large, "request setFeature"), 0u);
    EXPECT_EQ(count(large, "reply RawData"), 1u);
    EXPECT_EQ(count(large, "gap 1"), 1u);
}

// It may be full when the recording begins, or later.
TEST_F(RecorderTest, aFullDiskEndsTheRecordingOnly) {
    Emulator emulator;
    const Environment environment(mFile);
    EXPECT_EQ(app("no-disk").status, 0);
    const Result result = app("full-disk");
    expectGood(result, "failures 0\n");
    EXPECT_TRUE(contains(result.errors, "ends here: File too large")) << result.errors;
    const Lines seen = lines(mFile);
    EXPECT_EQ(seen.back(), "torn");
    EXPECT_GE(count(seen, "reply Common"), 400u);
}

}  // namespace
}  // namespace recorder_test

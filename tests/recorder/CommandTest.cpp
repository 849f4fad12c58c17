#include <unistd.h>

#include "tests/recorder/Lines.h"
#include "tests/tools/ToolsFixture.h"

// mirvo-record: what it runs, and what it says when it does not.

namespace recorder_test {
namespace {

using testing_support::Process;
using tools_test::contains;
using tools_test::Emulator;

class CommandTest : public tools_test::ToolsTest {
protected:
    CommandTest() {
        // A command that runs another cannot be run by a third.
        if (getenv("ZRMIRVO_RUNNER") != nullptr) mSkipped = true;
    }
    void SetUp() override {
        if (mSkipped) GTEST_SKIP() << "programs of another processor cannot start each other";
    }

    static Result record(const std::string& words) {
        const LinkOrder order;
        Process process(tools_test::commandLine(MIRVO_RECORD, words));
        const int status = process.wait();
        return {status, process.output(), process.errors()};
    }

    std::string path(const std::string& name) const { return mFolder.path() + "/" + name; }
    bool mSkipped = false;
};

TEST_F(CommandTest, itRunsAProgramThatIsRecorded) {
    Emulator emulator;
    const std::string file = path("recording");
    const Result result =
        record("-o " + file + " --without text --limit 1M -- " APPLICATION " keys 3");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "failures 0\n");
    EXPECT_EQ(count(lines(file), "request sendKeyEvent@7"), 3u);
    EXPECT_EQ(count(lines(file), "reply Version version=\"*****\" without 2"), 1u);
    // The status is the program's.
    EXPECT_EQ(record("-o " + file + " sh -c \"exit 9\"").status, 9);
}

TEST_F(CommandTest, itSaysThatNothingWasRecorded) {
    Emulator emulator;
    const LinkOrder order;
    mFolder.write("old", "");
    const struct {
        std::string words;
        bool says;
    } kRows[] = {
        {"-o " + path("old") + " true", true},
        // Whatever ends the program.
        {"-o " + path("of-%p") + " sh -c 'kill -9 $$'", true},
        {"-o " + path("none") + " no-such-program", false},
        {"-o " + path("old") + " " APPLICATION " keys 3", false},
    };
    for (const auto& row : kRows) {
        // The pipe ends when everybody has spoken.
        Process process({"sh", "-c", MIRVO_RECORD " " + row.words + " 2>&1 | cat"});
        process.wait();
        const std::string said = process.output();
        EXPECT_EQ(contains(said, " was not written: the program has not bound"), row.says)
            << row.words << ": " << said;
        EXPECT_FALSE(contains(said, "%p")) << said;
    }
}

TEST_F(CommandTest, itSaysWhatIsWrong) {
    const std::string folder = mFolder.path();
    ASSERT_EQ(symlink("elsewhere", path("link").c_str()), 0);
    const struct {
        std::string words;
        int status;
        const char* says;
    } kRows[] = {
        {"", 2, "mirvo-record: --output is required (see mirvo-record --help)\n"},
        {"-o " + path("a"), 2, "command is required"},
        {"-o " + path("a") + " --limit 5 true", 2, "the limit is no size of 64K or more: 5"},
        {"-o " + path("a") + " --without keys true", 2,
         "what can be left out is input, text and bytes: keys"},
        {"-o " + folder + " true", 4, "is no ordinary file"},
        {"-o " + path("link") + " true", 4, "is no ordinary file"},
        {"-o " + path("none/a") + " true", 4, "no file can be made in"},
        {"-o " + path("a") + " " + folder, 126, "cannot run"},
        {"-o " + path("a") + " no-such-program", 127, "cannot run no-such-program"},
    };
    for (const auto& row : kRows) {
        const Result result = record(row.words);
        EXPECT_EQ(result.status, row.status) << row.words;
        EXPECT_TRUE(contains(result.errors, row.says)) << row.words << ": " << result.errors;
    }
    for (const std::string option : {"--help", "--version"}) {
        EXPECT_TRUE(contains(record(option).output, "mirvo-record ") || option == "--help");
        Process full({"sh", "-c", MIRVO_RECORD " " + option + " >/dev/full"});
        EXPECT_EQ(full.wait(), 5) << option;
        EXPECT_TRUE(contains(full.errors(), "cannot write to standard output: No space left"));
    }
    EXPECT_NE(access(path("a").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace recorder_test

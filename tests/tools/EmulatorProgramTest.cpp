// The program that the emulator runs, and where its lines and the emulator's go.

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "tests/tools/ToolsFixture.h"

namespace tools_test {
namespace {

using testing_support::eventually;

// Starts as a program that behaves, by making one request.
const std::string kRequest = "$ZRMIRVO_RUNNER " MIRVOCTL " --quiet startup >/dev/null; ";
const std::string kEndless = kRequest + "exec sleep 1000";

std::string contentOf(const std::string& file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

class EmulatorProgramTest : public ToolsTest {
protected:
    std::vector<std::string> command(const std::string& options, const std::string& script,
                                     const std::string& program) {
        auto words = commandLine(MIRVO_EMULATOR, options);
        if (!script.empty())
            words.insert(words.end(), {"--script", mFolder.write("script", script)});
        words.insert(words.end(), {"--", "sh", "-c", program});
        return words;
    }
};

TEST_F(EmulatorProgramTest, theProgramEndsWithTheTest) {
    const struct {
        const char* name;
        const char* options;
        const char* script;
        std::string program;
        int status;
        const char* error = "";
    } kRows[] = {
        {"its own status", "", "expect startup", kRequest + "exit 3", 3},
        {"its own status, without a script", "", "", "exit 3", 3},
        {"a scene waits", "", "ids 7", "sleep 0.1; exit 3", 3},
        {"a signal of its own", "", "ids 7", "kill -SEGV $$", 139},
        {"endless and met", "", "expect startup", kEndless, 0},
        {"endless, met and limited", "--limit 60000", "expect startup\nexpect-no shutdown within 1",
         kEndless, 0},
        {"endless, and the script quits", "", "wait-for startup\nquit", kEndless, 0},
        {"endless in a scene", "--limit 1", "ids 7", "exec sleep 1000", 4,
         ") has not ended after 1 ms\n"},
        {"endless without a script", "--limit 1", "", "exec sleep 1000", 4,
         "mirvo-emulator: sh (process "},
        {"its own status when asked", "", "wait-for startup\nquit",
         "trap 'exit 3' TERM; " + kRequest + "while :; do sleep 0.01; done", 3},
        {"deaf", "", "wait-for startup\nquit",
         "trap '' TERM; " + kRequest + "while :; do sleep 0.01; done", 137,
         ") had not ended 5000 ms after SIGTERM and was killed\n"},
        // A request of this program could still come to the service of the next row.
        {"not met", "", "expect shutdown within 1", "exec sleep 1000", 4, ":1: expected shutdown"},
        {"gone too early", "", "wait-for startup", "exit 3", 4, ") had ended with status 3\n"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        Process emulator(command(std::string("--quiet ") + row.options, row.script, row.program));
        EXPECT_EQ(row.status, emulator.wait());
        EXPECT_TRUE(contains(emulator.errors(), row.error)) << emulator.errors();
        EXPECT_EQ(*row.error == '\0', emulator.errors().empty()) << emulator.errors();
    }
}

// One that ends with success may have gone to the background and is waited for 5000 ms.
TEST_F(EmulatorProgramTest, aCrashIsNotWaitedOut) {
    const struct {
        const char* program;
        const char* fate;
    } kRows[] = {{"kill -SEGV $$", ") had been killed by signal 11\n"},
                 {"exit 3", ") had ended with status 3\n"}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.program);
        Process emulator(command("--quiet", "expect startup within 60000", row.program));
        EXPECT_EQ(4, emulator.wait());
        EXPECT_TRUE(contains(emulator.errors(), row.fate)) << emulator.errors();
        const std::regex soon("but after ([0-9]{1,3}|[1-4][0-9]{3}) ms it has not come");
        EXPECT_TRUE(std::regex_search(emulator.errors(), soon)) << emulator.errors();
    }
}

TEST_F(EmulatorProgramTest, theProgramDoesNotOutliveTheEmulator) {
    for (const char* script : {"wait-for startup\ndie\n", "ids 7\n"}) {
        SCOPED_TRACE(script);
        Process emulator(command("--quiet", script, "echo $$; " + kEndless));
        std::string process;
        emulator.waitForLineThat("a number", [&](const std::string& line) {
            process = line;
            return line.find_first_not_of("0123456789") == std::string::npos;
        });
        if (std::string(script) == "ids 7\n") emulator.signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, emulator.wait());
        // Of one that nobody has waited for, this is empty as well.
        EXPECT_TRUE(eventually([&] { return contentOf("/proc/" + process + "/cmdline").empty(); }));
    }
}

TEST_F(EmulatorProgramTest, aSignalReachesTheProgramOnce) {
    const char* program =
        "trap 'n=$((n+1))' TERM INT; n=0; echo up; while [ $n = 0 ]; do sleep 0.01; done;"
        " sleep 0.3; echo signals=$n";
    Process emulator(command("--quiet", "expect startup within 60000", program));
    emulator.waitForLine("up");
    emulator.signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, emulator.wait());
    EXPECT_TRUE(contains(emulator.output(), "signals=1\n")) << emulator.output();
}

TEST_F(EmulatorProgramTest, itsLinesAreApartFromTheEmulatorsOwn) {
    const std::string file = mFolder.path() + "/lines";
    // It has printed before the emulator fails and ends it.
    const std::string program = "echo printed; echo complained >&2; " + kRequest;
    const std::string script = "wait-for startup\nexpect shutdown within 1";
    const std::string failure = ":2: expected shutdown";

    // The other order was as frequent when it was chance.
    for (int i = 0; i < 10; ++i) {
        Process plain(command("", "", "echo printed"));
        EXPECT_EQ(0, plain.wait());
        EXPECT_EQ(readyLine() + "\nprinted\n", plain.output());
    }

    Process json(command("--json", script, program));
    EXPECT_EQ(4, json.wait());
    EXPECT_FALSE(contains(json.output(), "\nprinted\n")) << json.output();
    EXPECT_TRUE(contains(json.errors(), "printed\n")) << json.errors();
    EXPECT_TRUE(contains(json.errors(), failure)) << json.errors();
    EXPECT_TRUE(contains(json.output(), "\"error\":\"expected shutdown")) << json.output();

    Process filed(command("--output " + file, script, program));
    EXPECT_EQ(4, filed.wait());
    EXPECT_EQ("printed\n", filed.output());
    EXPECT_TRUE(contains(filed.errors(), failure)) << filed.errors();
    EXPECT_EQ(0U, contentOf(file).find(readyLine())) << contentOf(file);
    EXPECT_TRUE(contains(contentOf(file), failure)) << contentOf(file);
    EXPECT_FALSE(contains(contentOf(file), "printed")) << contentOf(file);

    // Once in the file, although standard error leads there, too.
    for (const bool asJson : {false, true}) {
        // The emulator of the first round may still be ending in the second one.
        const testing_support::Folder folder;
        const std::string own = folder.path() + "/lines";
        Process background(command(
            "--background --dir " + folder.path() + " --output " + own + (asJson ? " --json" : ""),
            script, program));
        EXPECT_EQ(0, background.wait()) << background.errors();
        const std::string end = asJson ? R"("exit":4,"notTaken":0})" : failure;
        EXPECT_TRUE(eventually([&] { return contains(contentOf(own), end); }));
        const std::string lines = contentOf(own);
        EXPECT_EQ(lines.find(failure), lines.rfind(failure)) << lines;
        EXPECT_EQ(!asJson, contains(lines, "complained\n")) << lines;
    }
}

}  // namespace
}  // namespace tools_test

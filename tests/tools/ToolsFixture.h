#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tool/Text.h"

namespace tools_test {

using testing_support::Process;

// Long enough for an answer, so that nothing but a missing one takes it.
inline constexpr const char* kTimeoutMs = "3000";

inline std::vector<std::string> commandLine(const char* program, const std::string& words) {
    std::vector<std::string> all{program};
    const auto split = tool::splitWords(words);
    all.insert(all.end(), split->begin(), split->end());
    return all;
}

// The emulator's first line.
inline std::string readyLine() {
    return std::string("ready: mirvo.accessory.manager in ") + getenv("SERVICE_FRAMEWORK_DIR");
}

// An emulator, with accessory 7, that is told by its standard input what to do.
class Emulator : public Process {
public:
    explicit Emulator(const std::string& options = "")
        : Process(commandLine(MIRVO_EMULATOR, options)) {
        waitForLine(readyLine());
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

class ToolsTest : public ::testing::Test {
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

    testing_support::Folder mFolder;
};

// Waits for a line of JSON that is `line` but for its time, which stands first.
inline bool waitForJson(Process& process, const std::string& line) {
    return process.waitForLineThat(line, [&](const std::string& found) {
        const size_t comma = found.find(',');
        return found.compare(0, 8, "{\"time\":") == 0 && comma != std::string::npos &&
               "{" + found.substr(comma + 1) == line;
    });
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace tools_test

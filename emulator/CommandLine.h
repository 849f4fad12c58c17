#pragma once

#include <optional>
#include <string>
#include <vector>

#include "emulator/Printer.h"
#include "emulator/Replay.h"
#include "emulator/page/Page.h"
#include "tool/StandardOutput.h"

namespace emulator {

// What is typed behind the emulator's name.
struct Options {
    std::string script;
    std::string version = "3.6.6";
    std::string directory;
    std::string limit;
    std::string output;
    // Where standard output went before `output` took its place; -1 for nowhere else.
    int outputBefore = -1;
    bool background = false;
    std::vector<std::string> application;
    Printer::Options printer;
    page::PageOptions page;
    bool thenPrompt = false;
    bool keepGoing = false;
    bool exitWhenIdle = false;
    Replay::Options replay;
};

// Reads the command line into `options`. Answers the exit status where that was all there is to do:
// the command line is wrong, which is said, or asks for the help or the version.
std::optional<int> readCommandLine(int argc, char** argv, tool::StandardOutput& output,
                                   tool::OutputStream& errors, Options& options);

}  // namespace emulator

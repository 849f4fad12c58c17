#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "emulator/Script.h"

namespace emulator::page {

// Runs what is typed on pages, besides the script and standard input. Thread-safe; run() is called
// on a thread that may be held up.
class PageCommands {
public:
    // What may be sent at once.
    static constexpr size_t kMaxBytes = 64u << 10;
    // Commands that may run at the same time, since each has a thread of the server's.
    static constexpr int kMaxRunning = 4;

    explicit PageCommands(Script& script) : mScript(script) {}

    // Runs the lines, if all of them are understood. Answers the sentence to show; empty when all
    // is well.
    std::string run(const std::string& lines);

    // How a line could go on: whole lines, as at the prompt of a terminal.
    std::vector<std::string> completionsOf(const std::string& line) const;

private:
    Script& mScript;
    std::atomic<int> mRunning = 0;
};

}  // namespace emulator::page

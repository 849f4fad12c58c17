#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "emulator/Script.h"

namespace emulator::page {

// Runs the commands that are typed on pages, at the same time as the script and standard input.
// Thread-safe. run() blocks for as long as its commands take, `wait` for example.
class PageCommands {
public:
    // The most bytes of commands that a page may send at once.
    static constexpr size_t kMaxBytes = 64u << 10;
    // How many commands may run at the same time. Each of them needs a thread of the server.
    static constexpr int kMaxRunning = 4;

    explicit PageCommands(Script& script) : mScript(script) {}

    // Runs the lines if all of them are understood. Returns a sentence to show, which is empty when
    // all went well.
    std::string run(const std::string& lines);

    // Completes a line as at the prompt of a terminal. Returns whole lines.
    std::vector<std::string> completionsOf(const std::string& line) const;

private:
    Script& mScript;
    std::atomic<int> mRunning = 0;
};

}  // namespace emulator::page

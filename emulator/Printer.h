#pragma once

#include <string>

#include "emulator/Operations.h"
#include "tool/StandardOutput.h"

namespace emulator {

// Writes what happens to standard output, one line each. One thread at a time.
class Printer {
public:
    Printer(tool::StandardOutput& output, bool json, bool quiet)
        : mOutput(output), mJson(json), mQuiet(quiet) {}

    // Not even --quiet hides it: others wait for this line.
    void ready(const std::string& service) const;
    void request(const Request& request, const Json& answer) const;
    void event(const std::string& command) const;

private:
    tool::StandardOutput& mOutput;
    bool mJson;
    bool mQuiet;
};

}  // namespace emulator

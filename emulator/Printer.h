#pragma once

#include <string>

#include "emulator/Operations.h"

namespace emulator {

// Writes what happens to standard output, one line each. One thread at a time.
class Printer {
public:
    Printer(bool json, bool quiet) : mJson(json), mQuiet(quiet) {}

    // Not even --quiet hides it: others wait for this line.
    void ready(const std::string& service) const;
    void request(const Request& request, const Json& answer) const;
    void event(const std::string& command) const;

private:
    bool mJson;
    bool mQuiet;
};

}  // namespace emulator

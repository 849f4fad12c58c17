#pragma once

#include <vector>

#include "emulator/Application.h"
#include "emulator/CommandLine.h"
#include "emulator/Script.h"
#include "emulator/page/Page.h"

namespace emulator {

// What is run while the service can be found.
struct Plan {
    const std::vector<Step>& steps;
    // Whether the script looks at each request, which makes it a test of the program.
    bool tests = false;
    // Null where there is none.
    Replay* replay = nullptr;
};

// Runs the commands with which the script begins and that say how the service is. Answers how many
// those are.
size_t prepare(const Plan& plan, Script& script);

// Runs the rest of the script, then standard input, then serves until something ends it. Answers
// the exit status, for which the program was not asked yet.
int serve(const Options& options, const Plan& plan, size_t prepared, Application& application,
          page::Page& page, Script& script);

// Ends the program and lets clients take what they were sent, of which `notTaken` is left. Answers
// the exit status, of which `status` is what has come of all but the program.
int finish(Application& application, Script& script, int status, size_t& notTaken);

}  // namespace emulator

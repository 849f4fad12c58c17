#pragma once

#include <string>
#include <vector>

#include "doctor/Verdict.h"

namespace doctor {

struct Options {
    bool disturb = false;
    // Shell commands that stop and start the service. Without them a person is asked to do it.
    std::string stop;
    std::string start;
    // In seconds: how long to wait for a notification, and how long a person may take.
    int wait = 2;
    bool verbose = false;
};

// One thing to check. Each step runs in its own process.
struct Step {
    const char* name;
    Verdict (*run)(const Options& options);
    // This step is not tried when the step with this name is bad. May be null.
    const char* needs;
    // What to do when the result is bad.
    const char* advice;
};

// In the order in which they are made.
const std::vector<Step>& steps();

// Reports the child's result, also from inside a call by the framework. Ends the process at once,
// so that nothing that was begun goes on.
[[noreturn]] void conclude(const Verdict& verdict);

// What is loaded.
Verdict libraries(const Options& options);
Verdict functions(const Options& options);
// What is asked, and read from the answers.
Verdict binding(const Options& options);
Verdict request(const Options& options);
Verdict readTexts(const Options& options);
Verdict readIntegers(const Options& options);
Verdict readBlocks(const Options& options);
// What is written. Nothing of it is ever sent.
Verdict writtenTexts(const Options& options);
Verdict writtenIntegers(const Options& options);
Verdict writtenBlocks(const Options& options);
// What comes without having been asked for.
Verdict listener(const Options& options);
Verdict notification(const Options& options);
Verdict removal(const Options& options);
// The library as a whole, and a service that goes and comes back.
Verdict library(const Options& options);
Verdict lost(const Options& options);
Verdict late(const Options& options);

}  // namespace doctor

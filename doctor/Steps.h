#pragma once

#include <string>
#include <vector>

#include "doctor/Verdict.h"

namespace doctor {

struct Options {
    bool disturb = false;
    // Shell commands that stop and start the service; without them a person is asked to.
    std::string stop;
    std::string start;
    // How long a notification is waited for, and how long a person may take, in seconds.
    int wait = 2;
    bool verbose = false;
};

// One thing that is looked at, in a process of its own.
struct Step {
    const char* name;
    Verdict (*run)(const Options& options);
    // The step that must not have been bad before, or null.
    const char* needs;
    // What to do when the result is bad.
    const char* advice;
};

// In the order in which they are made.
const std::vector<Step>& steps();

// The child's result, from inside of whatever the framework has called. Ends the process at once,
// so that nothing which was begun goes on.
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

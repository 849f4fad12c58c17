#pragma once

#include "doctor/Steps.h"

namespace doctor {

// Executes this program anew for one step, with its own arguments and those that name the step, and
// waits for its verdict. Whatever the step does to its process is a verdict, too.
Verdict runInChild(const Step& step, const Options& options, int argc, char** argv);

// Inside that child: runs the step.
[[noreturn]] void runHere(const Step& step, const Options& options);

// What begins the argument that names the step.
constexpr char kStepArgument[] = "--step=";

}  // namespace doctor

#pragma once

#include "doctor/Steps.h"

namespace doctor {

// Executes this program anew for one step, with its own arguments and one that names the step, and
// waits for the verdict. A crash of the process, or a process that does not end, is a verdict, too.
Verdict runInChild(const Step& step, const Options& options, int argc, char** argv);

// Inside that child: runs the step.
[[noreturn]] void runHere(const Step& step, const Options& options);

// The beginning of the argument that names the step.
constexpr char kStepArgument[] = "--step=";

}  // namespace doctor

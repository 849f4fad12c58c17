#pragma once

#include <string>
#include <vector>

#include "emulator/Commands.h"

namespace emulator {

// All commands of a file, read before any of them runs. False, with one line on standard error for
// each mistake, when it cannot be used.
bool readScript(const std::string& path, std::vector<Command>& commands);

// Reads commands from standard input and runs each as it comes, until the input ends or the session
// is over. At a terminal the session survives a mistake; otherwise it is false, since whoever
// writes there would not notice.
bool runStandardInput(Session& session);

}  // namespace emulator

#pragma once

#include "emulator/Script.h"

namespace emulator {

// Whether standard input is something from which commands come: a terminal, a pipe or a file, but
// no device such as /dev/null.
bool standardInputHasCommands();

// Reads commands from standard input and runs each as it comes, until the input ends or the
// emulator is to end. A terminal is read only while this process is in its foreground. Answers the
// exit status of the first command that is not understood or fails, at which the reading ends.
// With `keepGoing` it goes on and answers the worst status at the end. At a terminal it goes on as
// well, but such a status does not count, since whoever types has seen the mistake.
int runStandardInput(Script& script, bool keepGoing);

}  // namespace emulator

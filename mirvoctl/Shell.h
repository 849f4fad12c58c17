#pragma once

#include "mirvoctl/Command.h"

namespace mirvoctl {

// Performs commands that are read from standard input, one a line, all over one connection, until
// the input ends or a command ends the shell. At a terminal there are a prompt, line editing and
// completion; elsewhere nothing is printed but what the commands print, so that a program can use
// it. The exit status is the highest of all commands, so that a script cannot fail unnoticed.
Outcome runShell(Connection& connection, const Output& output);

}  // namespace mirvoctl

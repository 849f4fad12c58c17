#pragma once

#include "emulator/Commands.h"

// The commands that wait for requests. Only a script may run them.

namespace emulator {

Action waitFor(const Parsed& parsed);
Action expect(const Parsed& parsed);
Action expectNo(const Parsed& parsed);
Action expectIdle(const Parsed& parsed);

}  // namespace emulator

#pragma once

#include "emulator/Arguments.h"
#include "emulator/Events.h"
#include "emulator/World.h"

namespace emulator {

// The event that a command of the table's section for events asks for. Throws SyntaxError.
Event makeEvent(const Parsed& parsed);

// What happens to the world at the same time. For any command.
void applyEvent(const Parsed& parsed, World& world);

}  // namespace emulator

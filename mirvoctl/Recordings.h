#pragma once

#include <string>

#include "mirvoctl/Command.h"
#include "recording/Timeline.h"

// What the commands about recordings do, each in a file of its own.

namespace mirvoctl {

Outcome showRecording(Context& context, Arguments& arguments);
Outcome showStatistics(Context& context, Arguments& arguments);
Outcome compareRecordings(Context& context, Arguments& arguments);
Outcome makeScript(Context& context, Arguments& arguments);
Outcome replay(Context& context, Arguments& arguments);

// Reads a recording, or throws Failure.
recording::Timeline load(const std::string& file);
// Milliseconds with as many decimals as nanoseconds have.
std::string milliseconds(uint64_t nanoseconds);

}  // namespace mirvoctl

#pragma once

#include <functional>

#include "emulator/Arguments.h"
#include "emulator/Script.h"

namespace emulator {

using Action = std::function<void(Run&)>;

// What a command does that has no block. Throws SyntaxError.
Action actionOf(const Parsed& parsed);

// Whether a command waits for requests, which a reaction must not do: it runs on the thread that
// would answer them.
bool waitsForRequests(const Parsed& parsed);
// Whether a command looks at each request, so that requests have to be kept.
bool expectsRequests(const Parsed& parsed);

}  // namespace emulator

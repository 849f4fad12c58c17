#pragma once

namespace emulator {

// With what the emulator ends. 5 is tool::kCannotWrite.
enum ExitStatus { kDone = 0, kNotServing = 1, kBadInput = 2, kNotMet = 4 };

}  // namespace emulator

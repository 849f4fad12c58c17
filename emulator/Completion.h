#pragma once

#include <string>
#include <vector>

#include "emulator/Service.h"

namespace emulator {

// What may stand for the last of the words of a command, as the table of commands has it: names of
// commands and operations, the service's accessories and clients, files.
std::vector<std::string> completions(Service& service, const std::vector<std::string>& words);

}  // namespace emulator

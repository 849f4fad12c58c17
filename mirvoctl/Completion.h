#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mirvoctl/Grammar.h"

namespace mirvoctl {

// What is offered where a file is meant; whoever shows it knows the files.
constexpr const char* kAnyFile = "FILE";

// What may stand for the last of the words of a command, as far as it is typed, by the tables of
// commands. `ids` gives the accessories that are attached and is asked only where one is meant.
std::vector<std::string> complete(Grammar::Place place, const std::vector<std::string>& words,
                                  const std::function<std::vector<uint32_t>()>& ids);

}  // namespace mirvoctl

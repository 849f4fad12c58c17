#pragma once

#include <string>
#include <vector>

namespace tool {

// What a tool says about one of its commands. Its help and its completion are made from this, and
// tests hold its manual page and its documents against it.
struct CommandInfo {
    const char* name;
    // As in "ID [COUNT]"; "" when it has none.
    const char* arguments;
    // One line without a full stop.
    const char* help;
};

// The name and the arguments.
std::string usage(const CommandInfo& command);

// A line for each command: its usage and, in one column, its help.
std::string commandHelp(const std::vector<CommandInfo>& commands);

}  // namespace tool

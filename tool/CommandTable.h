#pragma once

#include <string>
#include <vector>

namespace tool {

// Describes one command of a tool. The tool's help and completion are made from this, and tests
// compare its manual page and its documents with it.
struct CommandInfo {
    const char* name;
    // The arguments as they are typed, such as "ID [COUNT]"; "" when there are none.
    const char* arguments;
    // One line without a full stop.
    const char* help;
};

// Returns the name and the arguments.
std::string usage(const CommandInfo& command);

// Returns a line for each command: its usage and, in one column, its help.
std::string commandHelp(const std::vector<CommandInfo>& commands);

}  // namespace tool

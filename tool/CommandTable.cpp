#include "tool/CommandTable.h"

#include <algorithm>

namespace tool {

std::string usage(const CommandInfo& command) {
    const std::string name = command.name;
    return *command.arguments == '\0' ? name : name + " " + command.arguments;
}

std::string commandHelp(const std::vector<CommandInfo>& commands) {
    // When a usage is wider than the column, its help stands on the next line.
    constexpr size_t kMaxWidth = 28;
    size_t width = 0;
    for (const CommandInfo& command : commands) {
        const size_t own = usage(command).size();
        if (own <= kMaxWidth) width = std::max(width, own);
    }
    std::string text;
    for (const CommandInfo& command : commands) {
        std::string line = "  " + usage(command);
        if (line.size() > width + 2) {
            text += line + "\n";
            line.clear();
        }
        line.resize(width + 4, ' ');
        text += line + command.help + "\n";
    }
    return text;
}

}  // namespace tool

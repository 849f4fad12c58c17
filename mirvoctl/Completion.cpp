#include "mirvoctl/Completion.h"

#include <algorithm>
#include <sstream>

#include "mirvoctl/Options.h"
#include "tool/EventTable.h"
#include "tool/FileNames.h"

namespace mirvoctl {
namespace {

using Strings = std::vector<std::string>;
using Ids = std::function<std::vector<uint32_t>()>;

// Where the words before the last one lead.
struct Position {
    const CLI::App* parser;
    // The command's own words so far.
    size_t arguments = 0;
    // The option that waits for its value; null when none does.
    const CLI::Option* option = nullptr;
};

const CLI::Option* optionNamed(const CLI::App* parser, const std::string& name) {
    for (; parser != nullptr; parser = parser->get_parent()) {
        const CLI::Option* option = parser->get_option_no_throw(name);
        if (option != nullptr) return option;
    }
    return nullptr;
}

Position walk(const CLI::App& root, const Strings& words) {
    Position place{&root};
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (place.option != nullptr) {
            place.option = nullptr;
        } else if (word.compare(0, 2, "--") == 0) {
            const CLI::Option* option = optionNamed(place.parser, word);
            if (option != nullptr && option->get_items_expected_max() > 0) place.option = option;
        } else {
            // "device" has one argument before its command.
            const bool ready = place.parser->get_name() != kDevice.name || place.arguments > 0;
            const CLI::App* command = ready ? partNamed(*place.parser, word) : nullptr;
            if (command != nullptr) {
                place = {command};
            } else {
                ++place.arguments;
            }
        }
    }
    return place;
}

// The argument of that number in "CODE [down|up]", without brackets; the last one when it may be
// repeated. Empty when there is none.
std::string argumentAt(const std::string& arguments, size_t number) {
    std::istringstream words(arguments);
    std::string argument;
    bool repeated = false;
    for (size_t i = 0; i <= number && !repeated; ++i) {
        if (!(words >> argument)) return {};
        repeated = argument.find("...") != std::string::npos;
    }
    argument.erase(std::remove_if(argument.begin(), argument.end(),
                                  [](char c) { return c == '[' || c == ']' || c == '.'; }),
                   argument.end());
    return argument;
}

Strings valuesOf(const std::string& argument, const Ids& ids) {
    Strings values;
    if (argument.find('|') != std::string::npos) {
        std::istringstream words(argument);
        for (std::string value; std::getline(words, value, '|');)
            values.push_back(value);
    } else if (argument == "CODE") {
        values = keyNames();
    } else if (argument == "ACTION") {
        values = actionNames();
    } else if (argument == "ID") {
        for (const uint32_t id : ids())
            values.push_back(std::to_string(id));
    } else if (argument == "EVENT") {
        for (const tool::EventInfo& event : tool::kEvents) {
            if (tool::isCallback(event)) values.emplace_back(event.name);
        }
    } else if (argument == "COMMAND") {
        for (const auto* commands : {&managerCommands(), &deviceCommands(), &recordingCommands()}) {
            for (const Command& command : *commands)
                values.emplace_back(command.info.name);
        }
    } else if (argument == "PATH" || argument == "DIR" || argument == "FILE") {
        values.emplace_back(kAnyFile);
    }
    return values;
}

Strings optionsOf(const CLI::App* parser) {
    Strings names;
    for (; parser != nullptr; parser = parser->get_parent()) {
        for (const CLI::Option* option : parser->get_options()) {
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
        }
    }
    return names;
}

Strings commandsOf(const CLI::App* parser) {
    Strings names;
    for (const CLI::App* command : parser->get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

Strings candidates(const Grammar& grammar, const Strings& words, const Ids& ids) {
    const CLI::App& root = grammar.parser();
    const Position place = walk(root, words);
    if (place.option != nullptr) return valuesOf(place.option->get_type_name(), ids);
    if (words.back().compare(0, 1, "-") == 0) return optionsOf(place.parser);
    const bool isDevice = place.parser->get_name() == kDevice.name;
    if (isDevice && place.arguments == 0) return valuesOf("ID", ids);
    const bool isGroup = isDevice || place.parser->get_name() == kRecording.name;
    if (isGroup || place.parser == &root) return commandsOf(place.parser);
    const Command* command = grammar.commandOf(place.parser);
    return command == nullptr ? Strings()
                              : valuesOf(argumentAt(command->info.arguments, place.arguments), ids);
}

}  // namespace

Strings complete(Grammar::Place where, const Strings& words, const Ids& ids) {
    Grammar grammar(where);
    Options options;
    if (where == Grammar::Place::kCommandLine) options.declare(grammar.parser());
    Strings offered;
    for (std::string& word : candidates(grammar, words, ids)) {
        // The shell that completes a command line knows files best.
        if (word == kAnyFile && where == Grammar::Place::kShell)
            return tool::fileNames(words.back());
        if (word == kAnyFile || word.compare(0, words.back().size(), words.back()) == 0) {
            offered.push_back(std::move(word));
        }
    }
    return offered;
}

}  // namespace mirvoctl

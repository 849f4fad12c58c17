#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

#include "mirvoctl/Command.h"

namespace mirvoctl {

// The parser of a command line, or of a line in the shell, made from the tables of commands.
class Grammar {
public:
    enum class Place { kCommandLine, kShell };

    explicit Grammar(Place place);
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    // Throws CLI::ParseError, also for what is no mistake, such as --help.
    void parse(std::vector<std::string> words);

    // What parse() has read.
    Arguments& arguments() { return mArguments; }
    // The command that the words have named so far. Null before that.
    const Command* command() const;

    CLI::App& parser() { return mParser; }
    const CLI::App& parser() const { return mParser; }
    // The command that a part of the parser stands for. Null when it stands for none.
    const Command* commandOf(const CLI::App* part) const;

private:
    void add(CLI::App& parser, const std::vector<Command>& commands);

    CLI::App mParser;
    Arguments mArguments;
    std::map<const CLI::App*, const Command*> mCommands;
};

// The part of a parser for the command of that name. Null when there is none.
const CLI::App* partNamed(const CLI::App& parser, const std::string& name);

}  // namespace mirvoctl

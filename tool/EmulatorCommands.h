#pragma once

#include <string>
#include <vector>

// The commands that the emulator understands, as data. Its parser, its help and its completion are
// made from this table, and tests compare the documents with it.

namespace tool {

// What may be typed for an argument.
enum class Kind {
    kId,            // an accessory
    kInteger,       // 32 bits with a sign
    kCount,         // 32 bits without a sign
    kMilliseconds,  // 32 bits without a sign, a time
    kProcess,       // a client's process id
    kOperation,     // OP, or OP@ID for one accessory
    kBytes,         // pairs of hexadecimal digits up to the end of the line, also none
    kText,          // words up to the end of the line
    kFile,
    kIds,        // any number of accessories
    kPattern,    // any number of NAME=VALUE, as the operation's requests are printed
    kKeyword,    // the argument's own name as a word
    kWithin,     // the word `within` and milliseconds
    kAnyEvent,   // a command of the section kEvents
    kAnyAnswer,  // a command of the section kAnswers
};

struct Argument {
    // The name in JSON.
    const char* name;
    Kind kind;
    // What is typed, as the help shows it.
    const char* shown;
    bool optional = false;
};

enum class Section { kEvents, kAnswers, kRequests, kFlow, kWorld, kClients, kEnd };

struct EmulatorCommand {
    const char* name;
    Section section;
    std::vector<Argument> arguments;
    // One line of help, which begins with a verb.
    const char* help;
    // Whether the lines up to `end` belong to the command.
    bool block = false;
};

// All commands, those of a section one behind the other. A command that can be given in two ways
// has a row for each; the row with a keyword comes first.
const std::vector<EmulatorCommand>& emulatorCommands();

// Returns the title of a section in the help, which says what its commands are about.
const char* sectionTitle(Section section);

// Returns the command with its arguments: "expect OP [NAME=VALUE…] [within MS]".
std::string usage(const EmulatorCommand& command);

// Returns all commands by section, each with its line of help.
std::string emulatorHelp();

}  // namespace tool

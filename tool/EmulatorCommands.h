#pragma once

#include <string>
#include <vector>

// The commands that the emulator understands, as data: its parser, its help and its completion are
// made from this table, and the documents are held against it.

namespace tool {

// What may stand for an argument.
enum class Kind {
    kId,            // an accessory
    kInteger,       // 32 bits with a sign
    kCount,         // 32 bits without a sign
    kMilliseconds,  // the same, as a time
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
    // As in JSON.
    const char* name;
    Kind kind;
    // As in the help: what is typed.
    const char* shown;
    bool optional = false;
};

enum class Section { kEvents, kAnswers, kRequests, kFlow, kWorld, kClients, kEnd };

struct EmulatorCommand {
    const char* name;
    Section section;
    std::vector<Argument> arguments;
    // One line that begins with a verb.
    const char* help;
    // Whether lines up to `end` belong to it.
    bool block = false;
};

// All commands, those of a section one behind the other. One that can be given in two ways has a
// row for each; the one with a keyword comes first.
const std::vector<EmulatorCommand>& emulatorCommands();

// What a section's commands are about.
const char* sectionTitle(Section section);

// The command with its arguments: "expect OP [NAME=VALUE…] [within MS]".
std::string usage(const EmulatorCommand& command);

// All commands by section, each with its line of help.
std::string emulatorHelp();

}  // namespace tool

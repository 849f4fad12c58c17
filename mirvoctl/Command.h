#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "mirvoctl/Arguments.h"
#include "mirvoctl/Connection.h"
#include "mirvoctl/Output.h"
#include "tool/CommandTable.h"

namespace mirvoctl {

// What a command may use while it runs.
struct Context {
    Connection& connection;
    const Output& output;
    // The parser of whole command lines, for help.
    CLI::App& parser;
    // Set by the command that ends the shell.
    bool quit = false;
};

// One command. Help, completion and the field "operation" of an outcome come from here, and tests
// hold the manual page and the documents against it.
struct Command {
    tool::CommandInfo info;
    // The library's name for the operation; the command's own where it is none of the library's.
    const char* operation;
    // Declares the arguments to the parser. Null when there are none.
    void (*declare)(CLI::App& parser, Arguments& arguments);
    // Performs the command. Failures are outcomes, or thrown as Failure.
    Outcome (*run)(Context& context, Arguments& arguments);
};

// The commands to the service as a whole.
const std::vector<Command>& managerCommands();
// Those to one accessory, which stand behind "device ID".
const std::vector<Command>& deviceCommands();
// Those about recordings, which stand behind "recording", on the command line only.
const std::vector<Command>& recordingCommands();
const Command& replayCommand();
// Those that concern the tool itself: on the command line, and in the shell.
const std::vector<Command>& toolCommands();
const std::vector<Command>& shellCommands();

// What stands before a command to one accessory.
constexpr tool::CommandInfo kDevice = {"device", "ID COMMAND...",
                                       "Perform a command on one accessory, see below"};

// What stands before a command about recordings.
constexpr tool::CommandInfo kRecording = {"recording", "COMMAND...",
                                          "Look at a recording, see below"};

// What help shows of them.
std::vector<tool::CommandInfo> infosOf(const std::vector<Command>& commands);

}  // namespace mirvoctl

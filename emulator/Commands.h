#pragma once

#include <functional>
#include <string>
#include <vector>

#include "emulator/Service.h"
#include "emulator/Words.h"
#include "tool/Waker.h"

// The command language, one command a line.

namespace emulator {

// What commands act upon.
struct Session {
    Service& service;
    tool::Waker& waker;
    bool quit = false;

    // Whether no further command is to run.
    bool over() const { return quit || waker.interrupted(); }
};

using Command = std::function<void(Session&)>;

// Makes commands of lines.
class Parser {
public:
    // Takes one line. Returns the command that it completes, or an empty one. Throws SyntaxError
    // and is then as if the line had not come.
    Command feed(const std::string& line);

    // Whether a repeat has not ended.
    bool open() const { return !mBlocks.empty(); }

private:
    struct Block {
        uint32_t count;
        std::vector<Command> commands;
    };

    Command complete(Command command);
    Command close();

    // The open repeats, the innermost last.
    std::vector<Block> mBlocks;
};

}  // namespace emulator

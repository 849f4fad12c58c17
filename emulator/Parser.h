#pragma once

#include <optional>
#include <string>
#include <vector>

#include "emulator/Commands.h"

namespace emulator {

// A line of a file that cannot be understood.
struct Mistake {
    std::string place;
    std::string line;
    std::string error;
};

// The mistakes of a whole file. The text has a line for each, which begins with its place.
class FileErrors : public SyntaxError {
public:
    explicit FileErrors(std::vector<Mistake> all);
    std::vector<Mistake> mistakes;
};

// Makes a program of lines.
class Parser {
public:
    // Takes one line that stands at `place`. Returns the commands that it completes: one, or those
    // of a file that it includes, or none. Throws SyntaxError and is then as if the line had not
    // come.
    std::vector<Step> feed(const std::string& line, const std::string& place);

    // The names of the blocks that have not ended, the innermost last.
    std::vector<std::string> open() const;
    // Throws SyntaxError when there are such.
    void finish() const;

    // Whether any command so far looks at each request.
    bool expects() const { return mExpects; }

    // All commands of a file. Throws FileErrors, or SyntaxError when it cannot be read.
    std::vector<Step> readFile(const std::string& path);

private:
    struct Block {
        Parsed opened;
        Step step;
        std::vector<Step> steps;
    };

    std::vector<Step> complete(std::vector<Step> steps);
    std::vector<Step> close();
    bool inReaction() const;

    // The open blocks, the innermost last.
    std::vector<Block> mBlocks;
    // The files that are being read, the innermost last.
    std::vector<std::string> mFiles;
    // Whether the file is included by a reaction.
    bool mInReaction = false;
    bool mExpects = false;
};

}  // namespace emulator

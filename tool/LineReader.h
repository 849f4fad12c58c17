#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/Waker.h"

namespace tool {

class LineEditor;

// What a terminal shows and offers.
struct Prompt {
    // The tool, for which earlier lines are kept.
    const char* tool;
    // What stands before the next line.
    std::function<std::string()> text;
    // What may stand for the last of the words, with those before it. May be null.
    std::function<std::vector<std::string>(const std::vector<std::string>& words)> complete;
};

// Waits until standard input has something to read. False when the time has passed or `waker` was
// interrupted first. A process in the background of its terminal waits until it is in the
// foreground, since reading would stop it.
bool waitForInput(Waker& waker, std::optional<Waker::Time> until);

// Reads standard input line by line. At a terminal it shows a prompt on standard error and lets the
// user edit the line, look for earlier ones, which it keeps for the next time, and complete words
// with TAB. Elsewhere it reads lines as they are, however long.
//
// Threads: one at a time.
class LineReader {
public:
    explicit LineReader(Prompt prompt);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line without its end. Nothing at the end of the input, when the time has passed and
    // when `waker` is interrupted.
    std::optional<std::string> next(Waker& waker, std::optional<Waker::Time> until = std::nullopt);

    // Whether lines are typed.
    bool atTerminal() const { return mEditor != nullptr; }

private:
    std::optional<std::string> nextPlain(Waker& waker, std::optional<Waker::Time> until);

    std::unique_ptr<LineEditor> mEditor;
    std::string mBuffer;
    size_t mBegin = 0;
    bool mEnded = false;
};

}  // namespace tool

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/OwnDescriptor.h"
#include "tool/Waker.h"

namespace tool {

class LineEditor;

// What a terminal shows and offers.
struct Prompt {
    // The name of the tool. Each tool keeps its own earlier lines.
    const char* tool;
    // The text before the next line.
    std::function<std::string()> text;
    // Returns the words that can replace the last one of `words`. Null for no completion.
    std::function<std::vector<std::string>(const std::vector<std::string>& words)> complete;
};

// Waits until standard input has something to read. Returns false when the time is over or `waker`
// was interrupted first. A process in the background of its terminal waits until it is in the
// foreground, since the terminal stops background processes that read.
bool waitForInput(Waker& waker, std::optional<Waker::Time> until);

// Reads standard input line by line. At a terminal it shows a prompt on standard error. The user
// can then edit the line, complete words with TAB, and find earlier lines, which are kept for the
// next time. Elsewhere lines are read as they are, however long.
//
// Threads: one at a time.
class LineReader {
public:
    explicit LineReader(Prompt prompt);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // Returns the next line without its end, or nothing: at the end of the input, when the time is
    // over, or when `waker` is interrupted.
    std::optional<std::string> next(Waker& waker, std::optional<Waker::Time> until = std::nullopt);

    // Whether a person types the lines.
    bool atTerminal() const { return mEditor != nullptr; }

private:
    std::optional<std::string> nextPlain(Waker& waker, std::optional<Waker::Time> until);

    // The program that the emulator runs may read the same.
    OwnDescriptor mInput;
    std::unique_ptr<LineEditor> mEditor;
    std::string mBuffer;
    size_t mBegin = 0;
    bool mEnded = false;
};

}  // namespace tool

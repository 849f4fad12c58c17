#pragma once

#include <histedit.h>

#include <optional>
#include <string>

#include "tool/LineReader.h"

namespace tool {

// While this exists, standard input is no terminal for a process in the background. Setting the
// terminal up from there, as libedit does at the end of a line and at its own, would stop the
// process, which could then not even be ended by SIGTERM.
class AwayFromTerminal {
public:
    AwayFromTerminal();
    ~AwayFromTerminal();
    AwayFromTerminal(const AwayFromTerminal&) = delete;
    AwayFromTerminal& operator=(const AwayFromTerminal&) = delete;

    // Whether the process was in the background.
    bool away() const { return mInput >= 0; }

private:
    int mInput = -1;
};

// The part of LineReader that works at a terminal.
class LineEditor {
public:
    explicit LineEditor(Prompt prompt);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // As LineReader::next().
    std::optional<std::string> next(Waker& waker, std::optional<Waker::Time> until);

private:
    void open();
    static LineEditor& self(EditLine* editor);
    static int readCharacter(EditLine* editor, wchar_t* character);
    static unsigned char completeWord(EditLine* editor, int key);
    void remember(const char* line);

    const Prompt mPrompt;
    std::string mText;
    // Empty when earlier lines cannot be kept.
    std::string mHistoryFile;
    // Null until the first line is read, since making it sets the terminal up.
    EditLine* mEditor = nullptr;
    History* const mHistory;
    // While a line is read.
    Waker* mWaker = nullptr;
    std::optional<Waker::Time> mUntil;
    // While libedit ends a line that will not be read any more.
    std::optional<AwayFromTerminal> mAway;
};

}  // namespace tool

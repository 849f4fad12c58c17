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
    // Reads from `input`, where waitForInput() has found something.
    LineEditor(Prompt prompt, int input);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // Does what LineReader::next() says.
    std::optional<std::string> next(Waker& waker, std::optional<Waker::Time> until);

private:
    void open();
    static LineEditor& self(EditLine* editor);
    static int readCharacter(EditLine* editor, wchar_t* character);
    static unsigned char completeWord(EditLine* editor, int key);
    void remember(const char* line);

    const Prompt mPrompt;
    const int mInput;
    std::string mText;
    // The file for earlier lines. Empty when they cannot be kept.
    std::string mHistoryFile;
    // Null until the first line is read, since creating it changes the terminal's settings.
    EditLine* mEditor = nullptr;
    History* const mHistory;
    // Used only while a line is being read.
    Waker* mWaker = nullptr;
    std::optional<Waker::Time> mUntil;
    // While libedit ends a line that will not be read any more.
    std::optional<AwayFromTerminal> mAway;
};

}  // namespace tool

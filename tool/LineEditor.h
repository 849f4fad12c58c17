#pragma once

#include <histedit.h>

#include <optional>
#include <string>

#include "tool/LineReader.h"

namespace tool {

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
};

}  // namespace tool

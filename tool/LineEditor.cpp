#include "tool/LineEditor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <utility>

#include "tool/Text.h"

namespace tool {
namespace {

constexpr int kHistorySize = 1000;
constexpr wchar_t kControlD = 4;

// Returns the path of the file for earlier lines, in the user's folder for the state of programs;
// empty when there is no such folder.
std::string historyFile(const char* tool) {
    // NOLINTBEGIN(concurrency-mt-unsafe)
    const char* state = getenv("XDG_STATE_HOME");
    const char* home = getenv("HOME");
    // NOLINTEND(concurrency-mt-unsafe)
    std::filesystem::path folder;
    if (state != nullptr && *state != '\0') {
        folder = state;
    } else if (home != nullptr && *home != '\0') {
        folder = std::filesystem::path(home) / ".local/state";
    } else {
        return {};
    }
    folder /= "zrmirvo";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    return error ? "" : folder / (std::string(tool) + ".history");
}

// Returns the longest text with which all of the words begin.
std::string commonBeginning(const std::vector<std::string>& words) {
    std::string common = words.front();
    for (const std::string& word : words) {
        size_t same = 0;
        while (same < std::min(common.size(), word.size()) && common[same] == word[same])
            ++same;
        common.resize(same);
    }
    return common;
}

}  // namespace

AwayFromTerminal::AwayFromTerminal() {
    if (tcgetpgrp(STDIN_FILENO) == getpgrp()) return;
    const int none = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (none < 0) return;
    mInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    if (mInput >= 0) dup2(none, STDIN_FILENO);
    close(none);
}

AwayFromTerminal::~AwayFromTerminal() {
    if (mInput < 0) return;
    dup2(mInput, STDIN_FILENO);
    close(mInput);
}

LineEditor::LineEditor(Prompt prompt, int input)
    : mPrompt(std::move(prompt)),
      mInput(input),
      mHistoryFile(historyFile(mPrompt.tool)),
      mHistory(history_init()) {
    setlocale(LC_CTYPE, "");  // NOLINT(concurrency-mt-unsafe): no other thread runs yet.
    HistEvent event;
    history(mHistory, &event, H_SETSIZE, kHistorySize);
    history(mHistory, &event, H_SETUNIQUE, 1);
    if (!mHistoryFile.empty()) history(mHistory, &event, H_LOAD, mHistoryFile.c_str());
}

void LineEditor::open() {
    mEditor = el_init(mPrompt.tool, stdin, stderr, stderr);
    el_set(mEditor, EL_CLIENTDATA, this);
    el_set(mEditor, EL_HIST, history, mHistory);
    el_set(mEditor, EL_EDITOR, "emacs");
    el_set(
        mEditor, EL_PROMPT, +[](EditLine* editor) { return self(editor).mText.data(); });
    el_set(mEditor, EL_GETCFN, readCharacter);
    // The variant of this function for char texts never frees its copies of them.
    el_wset(mEditor, EL_ADDFN, L"complete-word", L"Complete the word", completeWord);
    el_set(mEditor, EL_BIND, "^I", "complete-word", nullptr);
    el_set(mEditor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // Reads the user's own settings of keys.
    el_source(mEditor, nullptr);
}

LineEditor::~LineEditor() {
    const AwayFromTerminal away;
    if (mEditor != nullptr) el_end(mEditor);
    history_end(mHistory);
}

LineEditor& LineEditor::self(EditLine* editor) {
    void* found = nullptr;
    el_get(editor, EL_CLIENTDATA, &found);
    return *static_cast<LineEditor*>(found);
}

std::optional<std::string> LineEditor::next(Waker& waker, std::optional<Waker::Time> until) {
    // The terminal stops a background process that changes its settings.
    if (tcgetpgrp(STDIN_FILENO) != getpgrp() && !waitForInput(waker, until)) {
        return std::nullopt;
    }
    if (mEditor == nullptr) open();
    mWaker = &waker;
    mUntil = until;
    mText = mPrompt.text();
    el_resize(mEditor);
    // Before the prompt, since whoever sees it may type keys that the terminal would take itself.
    el_set(mEditor, EL_PREP_TERM, 1);
    int count = 0;
    const char* line = el_gets(mEditor, &count);
    // The line that is half typed stays on the screen.
    if (line == nullptr || count <= 0) {
        el_set(mEditor, EL_PREP_TERM, 0);
        if (!mAway || !mAway->away()) fputc('\n', stderr);
        mAway.reset();
        return std::nullopt;
    }
    std::string text(line, static_cast<size_t>(count));
    if (text.back() == '\n') text.pop_back();
    remember(text.c_str());
    return text;
}

void LineEditor::remember(const char* line) {
    if (*line == '\0') return;
    HistEvent event;
    history(mHistory, &event, H_ENTER, line);
    if (mHistoryFile.empty()) return;
    history(mHistory, &event, H_SAVE, mHistoryFile.c_str());
    chmod(mHistoryFile.c_str(), 0600);
}

int LineEditor::readCharacter(EditLine* editor, wchar_t* character) {
    LineEditor& own = self(editor);
    mbstate_t state = {};
    char byte = 0;
    // Before each byte, since the others of a character may never come.
    while (waitForInput(*own.mWaker, own.mUntil)) {
        // A shell that ran in the meantime has changed the terminal's settings.
        termios settings = {};
        if (tcgetattr(STDIN_FILENO, &settings) == 0 && (settings.c_lflag & ICANON) != 0) {
            el_set(editor, EL_PREP_TERM, 0);
            el_set(editor, EL_PREP_TERM, 1);
        }
        const ssize_t count = read(own.mInput, &byte, 1);
        // A signal that is typed discards what was typed before.
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count != 1) return 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is this function's own.
        const size_t used = mbrtowc(character, &byte, 1, &state);
        if (used == static_cast<size_t>(-2)) continue;
        // A byte that is no character in this locale is kept as it is.
        if (used == static_cast<size_t>(-1)) *character = static_cast<unsigned char>(byte);
        // A control-D that was typed before the terminal's settings were changed comes as a null.
        if (byte == '\0') *character = kControlD;
        return 1;
    }
    own.mAway.emplace();
    return -1;
}

unsigned char LineEditor::completeWord(EditLine* editor, int /*key*/) {
    const LineEditor& own = self(editor);
    const LineInfo* line = el_line(editor);
    const std::string before(line->buffer, line->cursor);
    auto words = splitWords(before);
    if (!own.mPrompt.complete || !words) return CC_ERROR;
    if (words->empty() || before.back() == ' ') words->emplace_back();
    const std::vector<std::string> offered = own.mPrompt.complete(*words);
    if (offered.empty()) return CC_ERROR;
    std::string added = commonBeginning(offered).substr(words->back().size());
    const char end = offered.front().back();
    if (offered.size() == 1 && end != '=' && end != '/') added += ' ';
    if (!added.empty()) return el_insertstr(editor, added.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    std::string list = "\n";
    for (const std::string& word : offered)
        list += word + "  ";
    fprintf(stderr, "%s\n", list.c_str());
    return CC_REDISPLAY;
}

}  // namespace tool

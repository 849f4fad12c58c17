#include "tool/LineReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "tool/LineEditor.h"

namespace tool {

LineReader::LineReader(Prompt prompt) : mInput(STDIN_FILENO, O_RDONLY) {
    if (isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1) {
        mEditor = std::make_unique<LineEditor>(std::move(prompt), mInput.get());
    }
}

LineReader::~LineReader() = default;

std::optional<std::string> LineReader::next(Waker& waker, std::optional<Waker::Time> until) {
    return mEditor != nullptr ? mEditor->next(waker, until) : nextPlain(waker, until);
}

std::optional<std::string> LineReader::nextPlain(Waker& waker, std::optional<Waker::Time> until) {
    // The place up to which no end of line was found.
    size_t searched = mBegin;
    size_t end;
    while ((end = mBuffer.find('\n', searched)) == std::string::npos && !mEnded) {
        mBuffer.erase(0, std::exchange(mBegin, 0));
        searched = mBuffer.size();
        if (!waitForInput(waker, until)) return std::nullopt;
        char bytes[65536];
        const ssize_t count = read(mInput.get(), bytes, sizeof(bytes));
        if (count > 0) mBuffer.append(bytes, static_cast<size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) mEnded = true;
    }
    if (end == std::string::npos && mBegin == mBuffer.size()) return std::nullopt;
    std::string line = mBuffer.substr(mBegin, end == std::string::npos ? end : end - mBegin);
    mBegin = end == std::string::npos ? mBuffer.size() : end + 1;
    return line;
}

bool waitForInput(Waker& waker, std::optional<Waker::Time> until) {
    // How often a background process looks whether it is in the foreground now. No signal or
    // descriptor reports this.
    constexpr std::chrono::milliseconds kLook(200);
    while (waker.waitReadable(STDIN_FILENO, until)) {
        const pid_t foreground = tcgetpgrp(STDIN_FILENO);
        if (foreground < 0 || foreground == getpgrp()) return true;
        const auto look = std::chrono::steady_clock::now() + kLook;
        waker.waitUntil([] { return false; }, until ? std::min(look, *until) : look);
    }
    return false;
}

}  // namespace tool

#pragma once

#include <android/log.h>

#include <functional>
#include <string>
#include <vector>

namespace testing_support {

// Collects all log lines while it lives, debug lines included. They are not printed. Only one
// exists at a time. A line reads "E/Mirvo[c]: illegal parameter!\n": the letter of the priority,
// the tag and the text. "(null)" stands for a tag that was null.
//
// Threads: thread-safe.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Returns the lines so far and forgets them: those of at least this priority and, when a tag is
    // given, those with that tag.
    std::vector<std::string> take(const std::string& tag = {},
                                  android_LogPriority minimum = ANDROID_LOG_DEBUG);

    // The same without the lines of the call traces.
    std::vector<std::string> takeUntraced(const std::string& tag = {}) {
        return take(tag, ANDROID_LOG_INFO);
    }

    // Sets what runs with the text of every line, on the thread that logs it and before that call
    // returns. Lines that `call` itself logs do not count.
    void onLine(std::function<void(const std::string& text)> call);

private:
    int mPreviousMinimum;
};

// While it lives, lines of its thread are neither collected nor passed to the call.
class Muted {
public:
    Muted() { ++gDepth; }
    ~Muted() { --gDepth; }
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

    static bool active() { return gDepth > 0; }

private:
    static inline thread_local int gDepth = 0;
};

// The two lines of a call trace, with what was logged between them.
std::vector<std::string> traced(const std::string& tag, const std::string& name,
                                const std::vector<std::vector<std::string>>& inside = {});

}  // namespace testing_support

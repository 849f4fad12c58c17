#pragma once

#include <android/log.h>

#include <functional>
#include <string>
#include <vector>

namespace testing_support {

// Collects what is logged while it lives, debug lines included, instead of letting it out. One at a
// time. A line reads "E/Mirvo[c]: illegal parameter!\n": the letter of the priority, the tag, the
// text; where the tag was null, "(null)" stands in its place.
//
// Threads: thread-safe.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines so far, which are then forgotten; only those with this tag when one is given, and
    // only those of at least this priority.
    std::vector<std::string> take(const std::string& tag = {},
                                  android_LogPriority minimum = ANDROID_LOG_DEBUG);

    // What take() gives without the lines of the call traces.
    std::vector<std::string> takeUntraced(const std::string& tag = {}) {
        return take(tag, ANDROID_LOG_INFO);
    }

    // Runs `call` with the text of every line, on the thread that logs it and before it returns;
    // not for lines that come about inside `call`.
    void onLine(std::function<void(const std::string& text)> call);

private:
    int mPreviousMinimum;
};

// While it lives, what its thread logs is not collected and calls nobody.
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

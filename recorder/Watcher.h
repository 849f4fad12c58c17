#pragma once

#include <string>

// Says in a sentence that a program has ended without a recording. This is done by a process of its
// own, since the program takes the place of mirvo-record.
class Watcher {
public:
    // Watches this process, which is about to become the program. `path` may contain %p.
    explicit Watcher(const std::string& path);
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    // The program could not be run, so nothing more is to be said.
    void dismiss() const;

private:
    int mDismiss = -1;
};

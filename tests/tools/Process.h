#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tools_test {

// A program under test, with its standard streams in our hands. Waits at most for the deadline of
// all tests, and fails the test that waits in vain.
class Process {
public:
    enum class Input { kPipe, kTerminal };

    // Before a program with a path, which was built here and may be for another processor, stands
    // ZRMIRVO_RUNNER, if set.
    explicit Process(std::vector<std::string> command, Input input = Input::kPipe);
    // Kills what still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void type(const std::string& line);
    void closeInput();
    void signal(int number);

    // Waits for a line on standard output that is `line`, behind those that earlier calls have
    // found.
    bool waitForLine(const std::string& line);
    // Waits for `text` somewhere on standard error.
    bool waitForError(const std::string& text);
    // Waits for the end. The exit status, or 128 and the number of the signal that killed it.
    int wait();

    // What has come until now; everything, after wait().
    const std::string& output() const { return mOutput; }
    const std::string& errors() const { return mErrors; }

private:
    // Reads what comes next. False at the end of both streams and at the deadline.
    bool read();

    pid_t mPid = -1;
    int mInput = -1;
    int mStreams[2] = {-1, -1};
    std::string mOutput;
    std::string mErrors;
    size_t mFound = 0;
};

// A folder of its own, in which emulator and clients meet.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string write(const std::string& name, const std::string& content) const;
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace tools_test

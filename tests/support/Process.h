#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace testing_support {

// Waits until `condition` holds. False when it does not hold by the deadline of all tests.
[[nodiscard]] bool eventually(const std::function<bool()>& condition);

// Whether this process was started for the running test alone. If not, this runs the test in such a
// process, where it has to pass. A test that needs a process which has not used the library yet
// begins with `if (!inProcessOfItsOwn()) return;`.
bool inProcessOfItsOwn();

// How many entries a folder has.
size_t entries(const std::string& folder);

// A folder for one test, in which the services and clients of this process, and of the processes
// that it starts, find each other.
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

// Another program, whose input the test writes and whose output it reads. However much the program
// writes, it never waits for a reader. A wait that ends without success fails the test.
class Process {
public:
    // A program with a path was built here, perhaps for another processor. It is started by the
    // command that ZRMIRVO_RUNNER names, if that is set.
    explicit Process(const std::vector<std::string>& command);
    ~Process() { kill(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void send(const std::string& bytes);
    void type(const std::string& line) { send(line + "\n"); }
    void closeInput();
    // After SIGSTOP the program has stopped when this returns.
    void signal(int number);
    // Waits until the program, which stops itself, has done so.
    void waitUntilStopped();
    void kill();

    // Waits for `line` on standard output, behind the lines that earlier calls have found.
    bool waitForLine(const std::string& line);
    // The same for a line of which `matches` holds, described by `what`.
    bool waitForLineThat(const std::string& what,
                         const std::function<bool(const std::string& line)>& matches);
    // Waits for `part` of what is printed, as a prompt is, behind what earlier calls have found.
    bool waitForPart(const std::string& part);
    // Waits for the end. Returns the exit status, or 128 plus the number of the signal that killed
    // it.
    int wait();
    // Whether it has ended; wait() then returns at once.
    bool ended() const;

    // What had come by the last wait. After wait() this is everything.
    const std::string& output() const { return mOutput.text; }
    const std::string& errors() const { return mErrors.text; }

    pid_t pid() const { return mPid; }

private:
    // One of its streams, which goes to a file without a name.
    struct Stream {
        Stream();
        ~Stream();
        void read();
        const int file;
        std::string text;
    };

    bool await(const std::string& what, const std::function<bool()>& condition);

    pid_t mPid = -1;
    int mInput = -1;
    Stream mOutput;
    Stream mErrors;
    size_t mFound = 0;
};

}  // namespace testing_support

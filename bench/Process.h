#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// The processors that this process may use.
std::vector<int> processors();

// Another process, bound to one processor. It ends with the object. Only a process without threads
// makes one, since the new process is a copy of it.
class Process {
public:
    // `body` gets a socket to this side and runs until the process is ended. An exception from it
    // ends the process.
    Process(int processor, const std::function<void(int control)>& body);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    int control() const { return mControl; }
    // Waits until the body has called ready().
    void awaitReady() const;

private:
    int mControl = -1;
    pid_t mPid = -1;
};

void ready(int control);
// Does not return before the process is ended.
void sleepForever();

// Both throw when the process at the other end has ended.
void writeAll(int control, const void* data, size_t size);
void readAll(int control, void* data, size_t size);

// Ends the process with the name of the call that failed, unless `good`: no figure may come from
// calls that fail.
void require(bool good, const char* call);

// What a command prints.
std::string outputOf(const std::string& command);

}  // namespace bench

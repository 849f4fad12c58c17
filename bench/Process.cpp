#include "bench/Process.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

namespace bench {
namespace {

void bindTo(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(processor), &set);
    require(sched_setaffinity(0, sizeof(set), &set) == 0, "sched_setaffinity");
}

}  // namespace

void writeAll(int fd, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent <= 0) throw std::runtime_error("a process of the benchmark has ended");
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
}

void readAll(int fd, void* data, size_t size) {
    if (size > 0 && recv(fd, data, size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        throw std::runtime_error("a process of the benchmark has ended");
    }
}

void require(bool good, const char* call) {
    if (good) return;
    fprintf(stderr, "benchmark: %s failed, errno %d: %s\n", call, errno, strerror(errno));
    _exit(1);
}

std::vector<int> processors() {
    cpu_set_t set;
    require(sched_getaffinity(0, sizeof(set), &set) == 0, "sched_getaffinity");
    std::vector<int> all;
    for (size_t i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &set)) all.push_back(static_cast<int>(i));
    }
    return all;
}

Process::Process(int processor, const std::function<void(int control)>& body) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    const pid_t parent = getpid();
    mPid = fork();
    require(mPid >= 0, "fork");
    mControl = ends[0];
    if (mPid > 0) {
        close(ends[1]);
        return;
    }
    close(ends[0]);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    try {
        bindTo(processor);
        body(ends[1]);
    } catch (const std::exception& error) {
        fprintf(stderr, "benchmark: %s\n", error.what());
    }
    _exit(1);
}

Process::~Process() {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    close(mControl);
}

void Process::awaitReady() const {
    char word;
    readAll(mControl, &word, 1);
}

void ready(int control) {
    writeAll(control, "r", 1);
}

void sleepForever() {
    for (;;)
        pause();
}

std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "re");
    require(pipe != nullptr, "popen");
    std::string output;
    char part[4096];
    while (const size_t size = fread(part, 1, sizeof(part), pipe))
        output.append(part, size);
    const int status = pclose(pipe);
    if (status != 0) throw std::runtime_error("'" + command + "' failed:\n" + output);
    return output;
}

}  // namespace bench

#include "bench/Process.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

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

void bindTo(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(processor), &set);
    require(sched_setaffinity(0, sizeof(set), &set) == 0, "sched_setaffinity");
}

void serveBatches(int control, const std::function<Batch()>& setUp) {
    const Batch batch = setUp();
    ready(control);
    for (;;) {
        size_t calls = 0;
        readAll(control, &calls, sizeof(calls));
        const Sample sample = batch(calls);
        const size_t count = sample.each.size();
        writeAll(control, &sample.mean, sizeof(sample.mean));
        writeAll(control, &count, sizeof(count));
        writeAll(control, sample.each.data(), count * sizeof(uint32_t));
    }
}

}  // namespace

void require(bool good, const char* what) {
    if (good) return;
    fprintf(stderr, "benchmark: %s failed, errno %d: %s\n", what, errno, strerror(errno));
    _exit(1);
}

int64_t now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
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

Client::Client(int processor, const std::function<Batch()>& setUp)
    : mProcess(processor, [&](int control) { serveBatches(control, setUp); }) {
    mProcess.awaitReady();
}

Sample Client::run(size_t calls) const {
    writeAll(mProcess.control(), &calls, sizeof(calls));
    Sample sample;
    size_t count = 0;
    readAll(mProcess.control(), &sample.mean, sizeof(sample.mean));
    readAll(mProcess.control(), &count, sizeof(count));
    sample.each.resize(count);
    readAll(mProcess.control(), sample.each.data(), count * sizeof(uint32_t));
    return sample;
}

Sample timeThreads(size_t calls, size_t threads, const std::function<void(size_t thread)>& call) {
    std::atomic<bool> go{false};
    std::vector<std::thread> running;
    for (size_t thread = 0; thread < threads; ++thread) {
        running.emplace_back([&, thread] {
            while (!go)
                sched_yield();
            for (size_t i = 0; i < calls / threads; ++i)
                call(thread);
        });
    }
    const int64_t begin = now();
    go = true;
    for (std::thread& thread : running)
        thread.join();
    Sample sample;
    sample.mean =
        static_cast<double>(now() - begin) / static_cast<double>(calls / threads * threads);
    return sample;
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

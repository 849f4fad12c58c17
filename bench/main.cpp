#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Measure.h"
#include "bench/Subjects.h"

// Measures the costs of the library, compared with what the kernel needs for the same.

namespace {

using namespace bench;

// callgrind counts what this function calls, and finds it by its name.
extern "C" __attribute__((noinline)) void measuredCalls(const std::function<void()>& call,
                                                        size_t count) {
    for (size_t i = 0; i < count; ++i)
        call();
}

// In nanoseconds.
double processorTime(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// The part of a process that strace or valgrind looks at from outside. It finds its service by the
// environment.
int playRole(const std::string& role, size_t count) {
    if (role == "empty" || role == "instances") {
        if (role == "instances") makeInstances(count);
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("VmRSS:", 0) == 0) puts(line.c_str());
        }
        fflush(stdout);
        _exit(0);
    }
    const std::function<void()> one = call(role);
    for (int i = 0; i < 100; ++i)
        one();
    const double thread = processorTime(CLOCK_THREAD_CPUTIME_ID);
    const double process = processorTime(CLOCK_PROCESS_CPUTIME_ID);
    measuredCalls(one, count);
    const auto calls = static_cast<double>(count);
    printf("thread: %.1f ns\n", (processorTime(CLOCK_THREAD_CPUTIME_ID) - thread) / calls);
    printf("process: %.1f ns\n", (processorTime(CLOCK_PROCESS_CPUTIME_ID) - process) / calls);
    fflush(stdout);
    _exit(0);
}

class Folder {
public:
    Folder() {
        char name[] = "/tmp/zrmirvo-bench-XXXXXX";
        require(mkdtemp(name) != nullptr, "mkdtemp");
        mPath = name;
    }
    ~Folder() { std::filesystem::remove_all(mPath); }
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace

int main(int argc, char** argv) {
    bool quick = false;
    bool instructions = false;
    std::string file;
    std::string only;
    std::string role;
    size_t count = 0;
    CLI::App app(
        "Measures the costs of the library, compared with what the kernel needs for the same.");
    app.add_flag("--quick", quick, "make fewer calls; end within two minutes");
    app.add_option("--only", only, "measure only this part")
        ->check(CLI::IsMember({"round-trips", "notifications", "costs", "recording", "curves"}));
    app.add_option("--json", file, "also write the figures into this file");
    app.add_flag("--instructions", instructions, "only count the instructions of fixed runs");
    app.add_option("--role", role)->group("");
    app.add_option("--count", count)->group("");
    CLI11_PARSE(app, argc, argv);
    try {
        if (!role.empty()) return playRole(role, count);
        const Folder folder;
        const Setting setting(folder.path(), quick);
        nlohmann::ordered_json figures;
        if (instructions) {
            figures = countInstructions(setting);
            printf("%s\n", figures.dump(2).c_str());
        } else {
            figures = measureAll(setting, only);
        }
        if (!file.empty() && !(std::ofstream(file) << figures.dump(2) << std::endl)) {
            throw std::runtime_error("cannot write " + file);
        }
        return 0;
    } catch (const std::exception& error) {
        fprintf(stderr, "benchmark: %s\n", error.what());
        return 1;
    }
}

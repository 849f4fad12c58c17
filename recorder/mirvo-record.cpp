#include <sys/stat.h>
#include <unistd.h>
#include <zrmirvo/Version.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "recorder/Settings.h"
#include "recorder/Watcher.h"

// Runs a program with the recorder loaded before it.

namespace {

enum ExitStatus {
    kBadCommand = 2,
    kNoRecorder = 3,
    kNoFile = 4,
    kCannotWrite = 5,
    kCannotRun = 126,
    kNoProgram = 127
};

constexpr const char* kRecorder = "libzrmirvo-recorder.so";

struct Options {
    std::string output;
    std::string limit;
    std::string without;
    std::vector<std::string> command;
};

int fail(int status, const std::string& what) {
    fprintf(stderr, "mirvo-record: %s\n", what.c_str());
    return status;
}

// The recorder's path, beside this program, where both the build and the installation put it. Empty
// when it is not there.
std::string findRecorder() {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto folder = self.parent_path().parent_path() / LIBRARY_FOLDER;
    const auto path = folder / kRecorder;
    return access(path.c_str(), R_OK) == 0 ? path.string() : std::string();
}

// Why the file cannot be written. The recorder itself could only log this after the program has
// begun. Empty when nothing is wrong.
std::string faultOf(const std::string& output) {
    struct stat status = {};
    if (lstat(output.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        return output + " is no ordinary file, and no other is written to";
    }
    const std::string folder = std::filesystem::path(output).parent_path().string();
    const char* checked = folder.empty() ? "." : folder.c_str();
    if (access(checked, W_OK | X_OK) == 0) return {};
    return std::string("no file can be made in ") + checked + ": " +
           std::generic_category().message(errno);
}

int run(Options& options) {
    if (!options.limit.empty() && !recorder::parseLimit(options.limit)) {
        return fail(kBadCommand, "the limit is no size of 64K or more: " + options.limit);
    }
    if (!recorder::parseLeftOut(options.without)) {
        return fail(kBadCommand,
                    "what can be left out is input, text and bytes: " + options.without);
    }
    const std::string fault = faultOf(options.output);
    if (!fault.empty()) return fail(kNoFile, fault);
    std::string recorder = findRecorder();
    if (recorder.empty()) return fail(kNoRecorder, std::string(kRecorder) + " is not installed");

    // getenv and setenv are safe here, since this program has one thread.
    // NOLINTBEGIN(concurrency-mt-unsafe)
    const char* before = getenv("LD_PRELOAD");
    if (before != nullptr && *before != '\0') recorder += std::string(":") + before;
    setenv("LD_PRELOAD", recorder.c_str(), 1);
    setenv("ZRMIRVO_RECORDING", std::filesystem::absolute(options.output).c_str(), 1);
    if (!options.limit.empty()) setenv("ZRMIRVO_RECORDING_LIMIT", options.limit.c_str(), 1);
    if (!options.without.empty()) setenv("ZRMIRVO_RECORDING_WITHOUT", options.without.c_str(), 1);
    // NOLINTEND(concurrency-mt-unsafe)

    std::vector<char*> words;
    for (std::string& word : options.command)
        words.push_back(word.data());
    words.push_back(nullptr);
    const Watcher watcher(options.output);
    execvp(words[0], words.data());
    const int error = errno;
    watcher.dismiss();
    return fail(error == ENOENT ? kNoProgram : kCannotRun,
                "cannot run " + options.command[0] + ": " + std::generic_category().message(error));
}

// Prints what was asked for, or what is wrong with the command line.
int say(const CLI::App& app, const CLI::ParseError& error) {
    if (app.exit(error) != 0) return kBadCommand;
    if (std::cout.flush()) return 0;
    return fail(kCannotWrite,
                "cannot write to standard output: " + std::generic_category().message(errno));
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Runs a program and records what passes between it and the projection service.\n"
        "Its exit status is the program's.");
    app.set_version_flag("--version", "mirvo-record " ZRMIRVO_VERSION_TEXT,
                         "Print the version of mirvo-record");
    app.add_option("-o,--output", options.output,
                   "The file; %p in its name is the number of the process")
        ->type_name("FILE")
        ->required();
    app.add_option("--limit", options.limit,
                   "The most that is kept, 64M; the older half goes when it is reached")
        ->type_name("SIZE");
    app.add_option("--without", options.without,
                   "What is recorded by its size only: any of input,text,bytes")
        ->type_name("LIST");
    app.add_option("command", options.command, "The program and its arguments")
        ->type_name("PROGRAM [ARGUMENT...]")
        ->required();
    app.positionals_at_end();
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "mirvo-record: " + std::string(error.what()) + " (see mirvo-record --help)\n";
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return say(app, error);
    }
    return run(options);
}

#include "tests/tools/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/Signal.h"

namespace tools_test {
namespace {

// Ours first, the child's second.
struct Pair {
    int ours;
    int childs;
};

Pair makeTerminal() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    grantpt(master);
    unlockpt(master);
    char name[64];
    ptsname_r(master, name, sizeof(name));
    return {master, open(name, O_RDWR | O_NOCTTY | O_CLOEXEC)};
}

Pair makePipe(bool toChild) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    return toChild ? Pair{ends[1], ends[0]} : Pair{ends[0], ends[1]};
}

}  // namespace

Process::Process(std::vector<std::string> command, Input input) {
    // A program that has ended is no reason for the test to end.
    ::signal(SIGPIPE, SIG_IGN);
    const char* runner = getenv("ZRMIRVO_RUNNER");
    const bool built = command[0].find('/') != std::string::npos;
    std::istringstream words(runner == nullptr || !built ? "" : runner);
    std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
    all.insert(all.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    arguments.reserve(all.size() + 1);
    for (std::string& word : all)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    const Pair in = input == Input::kTerminal ? makeTerminal() : makePipe(true);
    const Pair streams[] = {makePipe(false), makePipe(false)};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.childs, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, streams[0].childs, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, streams[1].childs, STDERR_FILENO);
    if (posix_spawnp(&mPid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        ADD_FAILURE() << "cannot start " << arguments[0];
        mPid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    mInput = in.ours;
    for (int i : {0, 1}) {
        mStreams[i] = streams[i].ours;
        close(streams[i].childs);
    }
    close(in.childs);
}

Process::~Process() {
    if (mPid > 0) {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    closeInput();
    for (const int stream : mStreams)
        close(stream);
}

void Process::type(const std::string& line) {
    const std::string bytes = line + "\n";
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(mInput, bytes.data(), bytes.size()));
}

void Process::closeInput() {
    if (mInput >= 0) close(mInput);
    mInput = -1;
}

void Process::signal(int number) {
    kill(mPid, number);
}

bool Process::read() {
    pollfd sources[] = {{mStreams[0], POLLIN, 0}, {mStreams[1], POLLIN, 0}};
    if (mStreams[0] < 0 && mStreams[1] < 0) return false;
    const std::chrono::milliseconds deadline = testing_support::kDeadline;
    if (poll(sources, 2, static_cast<int>(deadline.count())) <= 0) return false;
    for (int i : {0, 1}) {
        if (sources[i].revents == 0) continue;
        char bytes[4096];
        const ssize_t count = ::read(mStreams[i], bytes, sizeof(bytes));
        if (count > 0) {
            (i == 0 ? mOutput : mErrors).append(bytes, static_cast<size_t>(count));
        } else {
            close(mStreams[i]);
            mStreams[i] = -1;
        }
    }
    return true;
}

bool Process::waitForLine(const std::string& line) {
    const std::string wanted = line + "\n";
    do {
        for (size_t at = mFound; (at = mOutput.find(wanted, at)) != std::string::npos; ++at) {
            if (at != 0 && mOutput[at - 1] != '\n') continue;
            mFound = at + wanted.size();
            return true;
        }
    } while (read());
    ADD_FAILURE() << "no line: " << line << "\nafter the first " << mFound << " bytes of:\n"
                  << mOutput << "errors:\n"
                  << mErrors;
    return false;
}

bool Process::waitForError(const std::string& text) {
    do {
        if (mErrors.find(text) != std::string::npos) return true;
    } while (read());
    ADD_FAILURE() << "no error: " << text << "\nin:\n" << mErrors;
    return false;
}

int Process::wait() {
    while (read()) {
    }
    if (mStreams[0] >= 0 || mStreams[1] >= 0) {
        ADD_FAILURE() << "does not end; output:\n" << mOutput << "errors:\n" << mErrors;
        kill(mPid, SIGKILL);
    }
    int status = 0;
    waitpid(mPid, &status, 0);
    mPid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Folder::Folder() {
    char name[] = "/tmp/tools-test-XXXXXX";
    mPath = mkdtemp(name);
    setenv("SERVICE_FRAMEWORK_DIR", mPath.c_str(), 1);
}

Folder::~Folder() {
    std::filesystem::remove_all(mPath);
}

std::string Folder::write(const std::string& name, const std::string& content) const {
    const std::string path = mPath + "/" + name;
    std::ofstream(path) << content;
    return path;
}

}  // namespace tools_test

#include "tests/support/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

#include "tests/support/Signal.h"

namespace testing_support {

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool inProcessOfItsOwn() {
    constexpr const char* kMark = "TEST_IN_PROCESS_OF_ITS_OWN";
    if (getenv(kMark) != nullptr) return true;
    const auto& test = *testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test.test_suite_name()) + "." + test.name();
    setenv(kMark, "1", 1);
    Process process({std::filesystem::read_symlink("/proc/self/exe"), "--gtest_filter=" + name});
    unsetenv(kMark);
    EXPECT_EQ(process.wait(), 0) << process.output() << process.errors();
    EXPECT_NE(process.output().find("[  PASSED  ] 1 test."), std::string::npos);
    return false;
}

size_t entries(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

Folder::Folder() {
    char name[] = "/tmp/mirvo-test-XXXXXX";
    mPath = mkdtemp(name);
    setenv("SERVICE_FRAMEWORK_DIR", mPath.c_str(), 1);
    unsetenv("SERVICE_FRAMEWORK_TIMEOUT_MS");
}

Folder::~Folder() {
    // A service that is just ending removes its files at the same time.
    EXPECT_TRUE(eventually([this] {
        std::error_code error;
        std::filesystem::remove_all(mPath, error);
        return !error;
    })) << mPath;
}

std::string Folder::write(const std::string& name, const std::string& content) const {
    const std::string path = mPath + "/" + name;
    std::ofstream(path) << content;
    return path;
}

Process::Stream::Stream() : file(memfd_create("stream", MFD_CLOEXEC)) {}

Process::Stream::~Stream() {
    close(file);
}

void Process::Stream::read() {
    char bytes[4096];
    ssize_t count;
    while ((count = pread(file, bytes, sizeof(bytes), static_cast<off_t>(text.size()))) > 0)
        text.append(bytes, static_cast<size_t>(count));
}

Process::Process(const std::vector<std::string>& command) {
    const char* runner = getenv("ZRMIRVO_RUNNER");
    const bool built = command[0].find('/') != std::string::npos;
    std::istringstream words(runner == nullptr || !built ? "" : runner);
    std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
    all.insert(all.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    for (std::string& word : all)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    // The child gets the first end.
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, mOutput.file, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, mErrors.file, STDERR_FILENO);
    if (posix_spawnp(&mPid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        abort();
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    mInput = ends[1];
}

void Process::send(const std::string& bytes) {
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(mInput, bytes.data(), bytes.size()));
}

void Process::closeInput() {
    if (mInput >= 0) close(std::exchange(mInput, -1));
}

void Process::signal(int number) {
    if (mPid < 0) return;
    ::kill(mPid, number);
    // A process runs on for a moment after the signal.
    if (number == SIGSTOP) waitUntilStopped();
}

void Process::waitUntilStopped() {
    waitpid(mPid, nullptr, WUNTRACED);
}

void Process::kill() {
    closeInput();
    signal(SIGKILL);
    if (mPid >= 0) waitpid(std::exchange(mPid, -1), nullptr, 0);
}

bool Process::ended() const {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(mPid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid != 0;
}

bool Process::await(const std::string& what, const std::function<bool()>& condition) {
    bool holds = false;
    static_cast<void>(eventually([&] {
        const bool last = ended();
        mOutput.read();
        mErrors.read();
        holds = condition();
        return holds || last;
    }));
    EXPECT_TRUE(holds) << what << "\noutput:\n" << output() << "errors:\n" << errors();
    return holds;
}

bool Process::waitForLine(const std::string& line) {
    return waitForLineThat(line, [&](const std::string& found) { return found == line; });
}

bool Process::waitForLineThat(const std::string& what,
                              const std::function<bool(const std::string& line)>& matches) {
    // Lines before this one have been looked at.
    size_t at = mFound;
    return await("no line from byte " + std::to_string(mFound) + " on: " + what, [&] {
        for (size_t end; (end = output().find('\n', at)) != std::string::npos; at = end + 1) {
            if (!matches(output().substr(at, end - at))) continue;
            mFound = end + 1;
            return true;
        }
        return false;
    });
}

bool Process::waitForPart(const std::string& part) {
    return await("not from byte " + std::to_string(mFound) + " on: " + part, [&] {
        const size_t at = output().find(part, mFound);
        if (at == std::string::npos) return false;
        mFound = at + part.size();
        return true;
    });
}

int Process::wait() {
    if (!await("does not end", [this] { return ended(); })) signal(SIGKILL);
    int status = 0;
    waitpid(std::exchange(mPid, -1), &status, 0);
    mOutput.read();
    mErrors.read();
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace testing_support

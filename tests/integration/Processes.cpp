#include "tests/integration/Processes.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

extern char** environ;

namespace integration {
namespace {

constexpr const char* kService = "/mirvo.accessory.manager";

std::string makeDirectory() {
    char name[] = "/tmp/mirvo-test-XXXXXX";
    return mkdtemp(name);
}

}  // namespace

Process::Process(std::vector<std::string> words, const std::string& output) {
    const char* runner = getenv("ZRMIRVO_RUNNER");
    std::istringstream runnerWords(runner == nullptr ? "" : runner);
    std::vector<std::string> all{std::istream_iterator<std::string>(runnerWords), {}};
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    for (std::string& word : all)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    int input[2];
    if (pipe2(input, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (posix_spawnp(&mPid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        std::abort();
    }
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    mInput = input[1];
}

void Process::tell(const std::string& line) {
    const std::string text = line + "\n";
    if (write(mInput, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
}

void Process::stop() {
    ::kill(mPid, SIGSTOP);
    waitpid(mPid, nullptr, WUNTRACED);
}

void Process::resume() {
    ::kill(mPid, SIGCONT);
}

void Process::kill() {
    if (mPid < 0) return;
    ::kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    close(mInput);
    mPid = -1;
}

ServiceTest::ServiceTest() : mDirectory(makeDirectory()) {
    setenv("SERVICE_FRAMEWORK_DIR", mDirectory.c_str(), 1);
}

ServiceTest::~ServiceTest() {
    mRelay = nullptr;
    mEmulator = nullptr;
    std::filesystem::remove_all(mDirectory);
}

void ServiceTest::startEmulator(const std::string& directory) {
    mEmulator = nullptr;
    const std::string output = mDirectory + "/output";
    // What an emulator before it has written is not this one's.
    std::filesystem::remove(output);
    std::vector<std::string> words = {EMULATOR, "--dir", directory};
    mEmulator = std::make_unique<Process>(std::move(words), output);
    mEmulator->tell("attach 7");
    mEmulator->tell("attach 8");
    // It serves from before it reads its commands, and says when it has done one.
    const auto knowsBoth = [&] {
        std::ifstream file(output);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        return text.find("> attach 8") != std::string::npos;
    };
    ASSERT_TRUE(eventually(knowsBoth));
}

void ServiceTest::startRelay(const std::string& fault, int number) {
    mRelay = nullptr;
    const std::string behind = mDirectory + "/behind";
    startEmulator(behind);
    const std::string socket = mDirectory + kService;
    std::filesystem::remove(socket);
    std::vector<std::string> words = {FAULTY_RELAY, mDirectory, behind + kService, fault,
                                      std::to_string(number)};
    mRelay = std::make_unique<Process>(std::move(words), "/dev/null");
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(socket); }));
}

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + testing_support::kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace integration

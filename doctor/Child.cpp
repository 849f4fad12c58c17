#include "doctor/Child.h"

#include <android/log.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>

#include "doctor/Place.h"
#include "protocol/LogPriority.h"

namespace doctor {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// The pipe to which the child writes its verdict: a letter and the text.
constexpr int kVerdictFd = 3;
constexpr char kLetters[] = {'g', 'b', 'n'};
constexpr seconds kStepAtMost(30);
// Some steps take long, since a person has to stop and start the service.
constexpr seconds kDisturbingStepAtMost(180);

// The command line of this program. ZRMIRVO_RUNNER may put an emulator of its processor before it.
std::vector<std::string> commandLine(const Step& step, int argc, char** argv) {
    std::vector<std::string> words;
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    if (const char* runner = std::getenv("ZRMIRVO_RUNNER")) {
        std::istringstream stream(runner);
        for (std::string word; stream >> word;)
            words.push_back(word);
    }
    char self[4096] = {};
    const bool known = readlink("/proc/self/exe", self, sizeof(self) - 1) > 0;
    words.emplace_back(known ? self : argv[0]);
    words.insert(words.end(), argv + 1, argv + argc);
    words.push_back(kStepArgument + std::string(step.name));
    return words;
}

[[noreturn]] void execute(std::vector<std::string>& words, int verdict) {
    // A step may crash, and needs no core file for it.
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    if (verdict == kVerdictFd) {
        fcntl(verdict, F_SETFD, 0);
    } else {
        dup2(verdict, kVerdictFd);
    }
    std::vector<char*> arguments(words.size() + 1, nullptr);
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](std::string& word) { return word.data(); });
    execvp(arguments[0], arguments.data());
    conclude(bad("the doctor cannot execute itself: " + words[0]));
}

std::string errorText() {
    return std::generic_category().message(errno);
}

// Reads what the child writes until it ends. False when it does not end in time.
bool readVerdict(int fd, seconds atMost, std::string& verdict) {
    const auto deadline = steady_clock::now() + atMost;
    for (;;) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
        pollfd wanted = {fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&wanted, 1, static_cast<int>(left.count())) == 0)
            return false;
        char buffer[1024];
        const ssize_t size = read(fd, buffer, sizeof(buffer));
        if (size <= 0) return true;
        verdict.append(buffer, static_cast<size_t>(size));
    }
}

Verdict understand(const std::string& verdict, int status) {
    if (verdict.empty()) {
        if (!WIFSIGNALED(status)) {
            return bad("the step ended with status " + std::to_string(WEXITSTATUS(status)) +
                       " and without a result");
        }
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the doctor itself has one thread.
        return bad(std::string("the step crashed (") + strsignal(WTERMSIG(status)) + ")");
    }
    const char* letter = static_cast<const char*>(memchr(kLetters, verdict[0], sizeof(kLetters)));
    if (letter == nullptr) return bad("the step's result cannot be read");
    return {static_cast<Result>(letter - kLetters), verdict.substr(1)};
}

}  // namespace

void conclude(const Verdict& verdict) {
    const std::string line = kLetters[static_cast<size_t>(verdict.result)] + verdict.text;
    // A pipe takes this much in one piece.
    const ssize_t written = write(kVerdictFd, line.data(), line.size());
    _exit(written == static_cast<ssize_t>(line.size()) ? 0 : 1);
}

void runHere(const Step& step, const Options& options) {
    // A service that the step starts must not keep the pipe open.
    fcntl(kVerdictFd, F_SETFD, FD_CLOEXEC);
    const int least = options.verbose ? ANDROID_LOG_DEBUG : ANDROID_LOG_SILENT;
    __android_log_set_minimum_priority(least);
    if (!options.verbose) accessory::setLogPriorityFromEnvironment();
    concludeCrashes();
    conclude(step.run(options));
}

Verdict runInChild(const Step& step, const Options& options, int argc, char** argv) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return bad("no pipe: " + errorText());
    std::vector<std::string> words = commandLine(step, argc, argv);
    const pid_t child = fork();
    if (child < 0) return bad("no process: " + errorText());
    if (child == 0) execute(words, ends[1]);
    close(ends[1]);
    std::string verdict;
    const seconds atMost = options.disturb ? kDisturbingStepAtMost : kStepAtMost;
    const bool ended = readVerdict(ends[0], atMost + seconds(options.wait), verdict);
    close(ends[0]);
    if (!ended) kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    return ended ? understand(verdict, status) : bad("the step did not come to its end");
}

}  // namespace doctor

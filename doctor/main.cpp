#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "doctor/Child.h"
#include "doctor/Steps.h"

namespace {

using namespace doctor;

enum ExitStatus { kNothingBad = 0, kSomethingBad = 1, kNoReport = 2 };

constexpr char kHelp[] =
    "Usage: mirvo-doctor [OPTION...]\n"
    "Checks, step by step, that the service framework under the client library behaves as the\n"
    "library needs it to. The service has to run.\n"
    "\n"
    "  --wait SECONDS   how long to wait for a notification (2)\n"
    "  --disturb        also try the steps that stop the service and start it anew\n"
    "  --stop COMMAND   stops the service; without it, you are asked to\n"
    "  --start COMMAND  starts it again; without it, you are asked to\n"
    "  --verbose        show the library's log on standard error\n"
    "  --help           print this\n"
    "\n"
    "Each step is reported on one line: good, bad with what to do about it, or not tried with\n"
    "the reason. The exit status is 0 when nothing is bad, 1 when something is, and 2 for an\n"
    "unknown option or a report that cannot be written.\n";

const Step* stepNamed(const std::string& name) {
    for (const Step& step : steps()) {
        if (name == step.name) return &step;
    }
    return nullptr;
}

// False when the arguments cannot be understood.
bool parse(int argc, char** argv, Options& options, std::string& step, bool& help) {
    const option known[] = {
        {"wait", required_argument, nullptr, 'w'}, {"disturb", no_argument, nullptr, 'd'},
        {"stop", required_argument, nullptr, 'o'}, {"start", required_argument, nullptr, 'a'},
        {"verbose", no_argument, nullptr, 'v'},    {"help", no_argument, nullptr, 'h'},
        {"step", required_argument, nullptr, 's'}, {nullptr, 0, nullptr, 0}};
    for (;;) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread.
        switch (getopt_long(argc, argv, "h", known, nullptr)) {
            case -1:
                return optind == argc;
            case 'w': {
                char* end = nullptr;
                const long wait = strtol(optarg, &end, 10);
                if (*optarg == '\0' || *end != '\0' || wait < 0 || wait > 3600) return false;
                options.wait = static_cast<int>(wait);
                break;
            }
            case 'd':
                options.disturb = true;
                break;
            case 'o':
                options.stop = optarg;
                break;
            case 'a':
                options.start = optarg;
                break;
            case 'v':
                options.verbose = true;
                break;
            case 'h':
                help = true;
                break;
            case 's':
                step = optarg;
                break;
            default:
                return false;
        }
    }
}

void print(const Step& step, const Verdict& verdict) {
    constexpr const char* kWords[] = {"good", "bad", "not tried"};
    const bool isBad = verdict.result == Result::kBad;
    printf("%-10s %-17s %s.%s%s%s\n", kWords[static_cast<size_t>(verdict.result)], step.name,
           verdict.text.c_str(), isBad ? " " : "", isBad ? step.advice : "", isBad ? "." : "");
    fflush(stdout);
}

// Writes the rest of the report now, so that a full disk or a closed pipe is noticed.
int endReport(int status) {
    if (fflush(stdout) == 0 && ferror(stdout) == 0) return status;
    fputs("mirvo-doctor: the report cannot be written\n", stderr);
    return kNoReport;
}

int runAll(const Options& options, int argc, char** argv) {
    // The steps that were bad, and those that were left out because of them.
    std::set<std::string> failed;
    int counts[3] = {};
    for (const Step& step : steps()) {
        Verdict verdict = notTried("");
        const bool possible = step.needs == nullptr || failed.count(step.needs) == 0;
        if (possible) {
            verdict = runInChild(step, options, argc, argv);
        } else {
            verdict.text = std::string("\"") + step.needs + "\" has to be good before";
        }
        if (!possible || verdict.result == Result::kBad) failed.insert(step.name);
        ++counts[static_cast<size_t>(verdict.result)];
        print(step, verdict);
    }
    printf("%zu steps: %d good, %d bad, %d not tried\n", steps().size(), counts[0], counts[1],
           counts[2]);
    return endReport(counts[1] == 0 ? kNothingBad : kSomethingBad);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::string name;
    bool help = false;
    if (!parse(argc, argv, options, name, help)) {
        fputs("mirvo-doctor: try mirvo-doctor --help\n", stderr);
        return kNoReport;
    }
    if (help) {
        fputs(kHelp, stdout);
        return endReport(kNothingBad);
    }
    if (name.empty()) return runAll(options, argc, argv);
    const Step* step = stepNamed(name);
    if (step == nullptr) {
        fprintf(stderr, "mirvo-doctor: there is no step %s\n", name.c_str());
        return kNoReport;
    }
    runHere(*step, options);
}

#include "emulator/Input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "emulator/Completion.h"
#include "emulator/ExitStatus.h"
#include "emulator/Parser.h"
#include "tool/LineReader.h"

namespace emulator {
namespace {

// What the user is asked for: a command, or one of a block that is open.
std::string promptText(const Parser& parser) {
    std::string text = "emulator";
    for (const std::string& block : parser.open())
        text += " " + block;
    return text + "> ";
}

}  // namespace

bool standardInputHasCommands() {
    struct stat status = {};
    if (fstat(STDIN_FILENO, &status) != 0) return false;
    return isatty(STDIN_FILENO) == 1 || !S_ISCHR(status.st_mode);
}

// NOLINTNEXTLINE(readability-function-cognitive-complexity): the lambdas count, too.
int runStandardInput(Script& script, bool keepGoing) {
    Parser parser;
    const auto complete = [&](const std::vector<std::string>& words) {
        return completions(script.service, words);
    };
    tool::LineReader reader({"mirvo-emulator", [&] { return promptText(parser); }, complete});
    const bool terminal = reader.atTerminal();
    int worst = kDone;
    size_t number = 0;
    const bool goesOn = keepGoing || terminal;
    // Whoever types has seen the mistake.
    const auto note = [&](int exit) {
        if (keepGoing || !terminal) worst = std::max(worst, exit);
    };
    const auto report = [&](const std::string& command, const std::string& error) {
        Outcome outcome;
        outcome.command = command;
        outcome.place = "<stdin>:" + std::to_string(number);
        outcome.error = error;
        if (!error.empty()) outcome.exit = kBadInput;
        note(outcome.exit);
        script.printer.outcome(outcome);
    };
    while (!script.over()) {
        // What a command has printed stands before the next prompt.
        if (terminal) script.printer.flush();
        const auto read = reader.next(script.waker(), script.deadline());
        if (!read) break;
        const std::string& line = *read;
        ++number;
        try {
            const std::vector<Step> steps = parser.feed(line, "<stdin>:" + std::to_string(number));
            for (const Step& step : steps) {
                if (script.over()) break;
                script.run(step);
            }
            if (script.failed()) {
                note(kNotMet);
                if (!goesOn) return worst;
                script.forgive();
            } else if (!steps.empty()) {
                report(steps.back().command, "");
            }
        } catch (const SyntaxError& error) {
            report(line, error.what());
            if (!goesOn) return worst;
        }
    }
    if (script.over()) return script.failed() ? static_cast<int>(kNotMet) : worst;
    try {
        parser.finish();
    } catch (const SyntaxError& error) {
        report("", error.what());
    }
    return worst;
}

}  // namespace emulator

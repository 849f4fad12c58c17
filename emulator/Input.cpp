#include "emulator/Input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

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

// The commands, or operations, that may stand for the last word.
std::vector<std::string> completions(const std::vector<std::string>& words) {
    const bool first = words.size() == 1 || words[words.size() - 2] == "once";
    std::vector<std::string> names = operationNames();
    if (first) {
        names.clear();
        for (const tool::EmulatorCommand& command : tool::emulatorCommands()) {
            if (names.empty() || names.back() != command.name) names.emplace_back(command.name);
        }
    }
    const auto differs = [&](const std::string& name) {
        return name.compare(0, words.back().size(), words.back()) != 0;
    };
    names.erase(std::remove_if(names.begin(), names.end(), differs), names.end());
    return names;
}

}  // namespace

bool standardInputHasCommands() {
    struct stat status = {};
    if (fstat(STDIN_FILENO, &status) != 0) return false;
    return isatty(STDIN_FILENO) == 1 || !S_ISCHR(status.st_mode);
}

int runStandardInput(Script& script, bool keepGoing) {
    Parser parser;
    tool::LineReader reader({"mirvo-emulator", [&] { return promptText(parser); }, completions});
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
        if (terminal) script.printer.lines().flush();
        const auto read = reader.next(script.waker());
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
    if (script.ended()) return worst;
    try {
        parser.finish();
    } catch (const SyntaxError& error) {
        report("", error.what());
    }
    return worst;
}

}  // namespace emulator

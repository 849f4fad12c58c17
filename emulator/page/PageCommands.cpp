#include "emulator/page/PageCommands.h"

#include <iterator>
#include <sstream>

#include "emulator/Completion.h"
#include "emulator/Parser.h"
#include "emulator/page/Counted.h"

namespace emulator::page {
namespace {

// Throws SyntaxError for commands that a page may not use: it must not read files, and requests
// that it took would be missing for the script that expects them.
void refuse(const std::string& line) {
    const auto words = tool::splitWords(line);
    if (!words || words->empty()) return;
    if (words->front() == "include") throw SyntaxError("include is not for a page");
    if (waitsForRequests(parseCommand(*words))) {
        throw SyntaxError(words->front() + " is for scripts: a page shows the requests instead");
    }
}

std::vector<Step> read(const std::string& text) {
    Parser parser;
    std::vector<Step> steps;
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::string place = "<page>:" + std::to_string(++number);
        refuse(line);
        std::vector<Step> more = parser.feed(line, place);
        std::move(more.begin(), more.end(), std::back_inserter(steps));
    }
    parser.finish();
    return steps;
}

}  // namespace

std::string PageCommands::run(const std::string& lines) {
    const Counted counted(mRunning);
    if (counted.number > kMaxRunning) return "earlier commands are still running";
    try {
        const std::vector<Step> steps = read(lines);
        Run run(mScript, Origin::kPage);
        for (const Step& step : steps) {
            if (run.over() || !run.failure().empty()) break;
            run.one(step);
        }
        return run.failure();
    } catch (const SyntaxError& error) {
        return error.what();
    }
}

std::vector<std::string> PageCommands::completionsOf(const std::string& line) const {
    auto words = tool::splitWords(line);
    // A page must not see the names of files.
    if (!words || (!words->empty() && words->front() == "include")) return {};
    if (words->empty() || line.back() == ' ') words->emplace_back();
    std::vector<std::string> lines = completions(mScript.service, *words);
    for (std::string& each : lines)
        each.insert(0, line, 0, line.size() - words->back().size());
    return lines;
}

}  // namespace emulator::page

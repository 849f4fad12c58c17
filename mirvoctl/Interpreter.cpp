#include "mirvoctl/Interpreter.h"

#include <sstream>
#include <utility>

#include "mirvoctl/LibraryLog.h"

namespace mirvoctl {
namespace {

Outcome failed(ExitStatus exit, const std::string& error) {
    Outcome outcome;
    outcome.exit = exit;
    outcome.error = error;
    return outcome;
}

}  // namespace

Interpreter::Interpreter(Grammar::Place place, Connection& connection, const Output& output)
    : mPlace(place),
      mOutput(output),
      mGrammar(place),
      mContext{connection, output, mGrammar.parser()} {}

bool Interpreter::parse(std::vector<std::string> words) {
    try {
        mGrammar.parse(std::move(words));
        return true;
    } catch (const CLI::Success& asked) {
        std::ostringstream text;
        mGrammar.parser().exit(asked, text, text);
        Outcome outcome;
        outcome.text = text.str();
        outcome.data = {{"text", outcome.text}};
        finish(std::move(outcome));
    } catch (const CLI::ParseError& error) {
        const Command* command = mGrammar.command();
        const char* help = mPlace == Grammar::Place::kShell ? "help" : "mirvoctl --help";
        const std::string hint = command != nullptr
                                     ? "usage: " + tool::usage(command->info)
                                     : "\"" + std::string(help) + "\" lists the commands";
        refuse(std::string(error.what()) + " (" + hint + ")");
    }
    return false;
}

void Interpreter::refuse(const std::string& error) {
    finish(failed(kBadCommand, error));
}

void Interpreter::perform() {
    // What was logged before is not about this command.
    LibraryLog::takeErrors();
    try {
        finish(mGrammar.command()->run(mContext, mGrammar.arguments()));
    } catch (const Failure& failure) {
        finish(failed(failure.status(), failure.what()));
    }
}

void Interpreter::finish(Outcome outcome) {
    const Command* command = mGrammar.command();
    mExit = mOutput.outcome(command == nullptr ? "" : command->operation, std::move(outcome));
}

}  // namespace mirvoctl

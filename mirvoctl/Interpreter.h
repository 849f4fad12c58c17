#pragma once

#include <string>
#include <vector>

#include "mirvoctl/Grammar.h"

namespace mirvoctl {

// Understands the words of one command and performs it. Serves one command.
class Interpreter {
public:
    Interpreter(Grammar::Place place, Connection& connection, const Output& output);
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    // For the options that stand before commands.
    CLI::App& parser() { return mGrammar.parser(); }

    // False when there is nothing to perform: the words asked for help, which is printed, or were
    // not understood, which is told. exitStatus() then says which.
    bool parse(std::vector<std::string> words);
    // Tells why there are no words to parse.
    void refuse(const std::string& error);
    // Performs the command that was parsed, and prints what it has come to.
    void perform();

    ExitStatus exitStatus() const { return mExit; }
    // Whether the command ends the shell.
    bool quit() const { return mContext.quit; }

private:
    void finish(Outcome outcome);

    const Grammar::Place mPlace;
    const Output& mOutput;
    Grammar mGrammar;
    Context mContext;
    ExitStatus mExit = kDone;
};

}  // namespace mirvoctl

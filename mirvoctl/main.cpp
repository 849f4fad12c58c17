#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "mirvoctl/Completion.h"
#include "mirvoctl/Connection.h"
#include "mirvoctl/Interpreter.h"
#include "mirvoctl/LibraryLog.h"
#include "mirvoctl/Options.h"
#include "mirvoctl/Output.h"
#include "tool/ServicePlace.h"

namespace {

using namespace mirvoctl;

// What the completion of a command line calls, with the words behind it.
constexpr const char* kComplete = "--complete";

void apply(const Options& options, Output& output, Connection& connection) {
    using Shown = LibraryLog::Shown;
    output.json = options.json;
    output.quiet = options.quiet;
    LibraryLog::show(options.verbose ? Shown::kEverything
                     : options.quiet ? Shown::kNothing
                                     : Shown::kErrors);
    if (!options.directory.empty()) tool::setServiceFolder(options.directory);
    if (options.timeout != 0) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", std::to_string(options.timeout).c_str(), 1);
    }
    connection.setWait(std::chrono::milliseconds(options.wait));
}

void printCandidates(const std::vector<std::string>& words, Connection& connection,
                     tool::StandardOutput& standard) {
    LibraryLog::show(LibraryLog::Shown::kNothing);
    const auto ids = [&] { return connection.idsIfQuick(); };
    for (const std::string& word : complete(Grammar::Place::kCommandLine, words, ids))
        standard.writeLine(word);
}

ExitStatus runCommandLine(const std::vector<std::string>& words, Connection& connection,
                          Output& output) {
    Options options;
    Interpreter interpreter(Grammar::Place::kCommandLine, connection, output);
    options.declare(interpreter.parser());
    // Also for a command line that is not understood.
    output.json = std::find(words.begin(), words.end(), "--json") != words.end();
    if (interpreter.parse(words)) {
        apply(options, output, connection);
        interpreter.perform();
    }
    return interpreter.exitStatus();
}

}  // namespace

int main(int argc, char** argv) {
    tool::StandardOutput standard;
    Output output(standard);
    Connection connection;
    std::vector<std::string> words(argv + 1, argv + argc);
    ExitStatus status = kDone;
    if (words.size() > 1 && words.front() == kComplete) {
        printCandidates({words.begin() + 1, words.end()}, connection, standard);
    } else {
        status = runCommandLine(words, connection, output);
    }
    const int exit = standard.exitStatus("mirvoctl", status);
    // A request that is still under way keeps nobody waiting.
    if (connection.busy()) _Exit(exit);
    return exit;
}

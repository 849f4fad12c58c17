#include <android/log.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "mirvoctl/Commands.h"
#include "mirvoctl/Connection.h"
#include "mirvoctl/Monitor.h"
#include "mirvoctl/Output.h"
#include "protocol/LogPriority.h"
#include "tool/Text.h"

namespace {

using namespace mirvoctl;

// Runs `command`, which parses a command line and executes it, and reports how that went wrong.
template <typename Command>
int run(const CLI::App& app, const Output& output, Command command) {
    try {
        command();
        return kDone;
    } catch (const Failure& failure) {
        fprintf(stderr, "mirvoctl: %s\n", failure.what());
        return failure.status();
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text) == 0 ? kDone : kBadCommand;
        output.standard().write(text.str());
        return status;
    }
}

int runLine(const Context& context, const std::string& line) {
    auto words = tool::splitWords(line);
    CLI::App app("", "");
    requireCommand(app);
    addManagerCommands(app, context);
    addDeviceCommands(app, context);
    return run(app, context.output, [&] {
        if (!words) throw CLI::ValidationError("line", "a quote stays open");
        // The parser takes its arguments from the back.
        std::reverse(words->begin(), words->end());
        if (!words->empty()) app.parse(std::move(*words));
    });
}

// Answers the worst of all exit statuses, so that a script that is fed to it cannot fail unnoticed.
int runShell(const Context& context) {
    const bool terminal = isatty(STDIN_FILENO) == 1;
    int worst = kDone;
    std::string line;
    for (;;) {
        if (terminal) std::cerr << "mirvoctl> ";
        if (!std::getline(std::cin, line)) return worst;
        const auto words = tool::splitWords(line);
        if (words && words->size() == 1 && (words->front() == "quit" || words->front() == "exit")) {
            return worst;
        }
        worst = std::max(worst, runLine(context, line));
        if (context.output.standard().failed()) return worst;
    }
}

}  // namespace

int main(int argc, char** argv) {
    tool::StandardOutput standard;
    Output output(standard);
    bool verbose = false;
    std::vector<uint32_t> ids;

    CLI::App app("Drives the projection service and its accessories through the library.");
    requireCommand(app);
    app.fallthrough();
    app.add_flag("--json", output.json, "Print JSON, one object a line");
    auto* quiet = app.add_flag("--quiet", output.quiet, "Print nothing but what was asked for");
    app.add_flag("--verbose", verbose, "Show the library's call trace on standard error")
        ->excludes(quiet);
    // Before the command runs, which CLI11 does at the end of parse().
    app.parse_complete_callback([&] {
        __android_log_set_minimum_priority(output.quiet ? ANDROID_LOG_SILENT
                                           : verbose    ? ANDROID_LOG_DEBUG
                                                        : ANDROID_LOG_ERROR);
        if (!output.quiet && !verbose) accessory::setLogPriorityFromEnvironment();
    });

    int status = kDone;
    Connection connection;
    const Context context = {connection, output};
    addManagerCommands(app, context);
    addDeviceCommands(app, context);
    CLI::App* monitoring = app.add_subcommand("monitor", "Print every callback as it comes");
    monitoring->add_option("ID", ids, "Of these accessories only");
    monitoring->callback([&] { monitor(connection, output, ids); });
    app.add_subcommand("shell", "Read commands line by line from standard input")->callback([&] {
        status = runShell(context);
    });
    const int result = run(app, output, [&] { app.parse(argc, argv); });
    return standard.exitStatus("mirvoctl", result == kDone ? status : result);
}

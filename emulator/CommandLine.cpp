#include "emulator/CommandLine.h"

#include <zrmirvo/Version.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>

#include "emulator/ExitStatus.h"
#include "tool/EmulatorCommands.h"
#include "tool/Text.h"

namespace emulator {
namespace {

std::string checkNumber(const std::string& given) {
    return tool::toNumber<uint32_t>(given) ? "" : "not a number of milliseconds: " + given;
}

// A name that comes from a variable which is not set would be taken for an option that is not
// given.
std::string checkName(const std::string& given) {
    return given.empty() ? "the name is empty" : "";
}

// The options of a replay; none of them means anything without it.
void addReplayOptions(CLI::App& app, Replay::Options& options) {
    auto* file = app.add_option("--replay", options.file, "Be the service of this recording")
                     ->type_name("FILE")
                     ->check(checkName)
                     ->excludes(app.get_option("--script"));
    const auto speed = [&options](const std::string& given) {
        const auto parsed = recording::Speed::parse(given);
        if (!parsed) throw CLI::ValidationError("--speed", "neither a number nor max: " + given);
        options.speed = *parsed;
    };
    app.add_option_function<std::string>(
           "--speed", speed, "So many times faster than it was recorded, or as fast as possible")
        ->type_name("N|max")
        ->needs(file);
    app.add_option("--ignore", options.ignored, "Do not compare arguments of this name")
        ->type_name("NAME")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->needs(file);
    const auto patience = [&options](const std::string& given) {
        options.patience = std::chrono::milliseconds(*tool::toNumber<uint32_t>(given));
    };
    app.add_option_function<std::string>(
           "--patience", patience, "Send an event when its requests are so late; 5000 without it")
        ->type_name("MS")
        ->check(checkNumber)
        ->needs(file);
    app.add_flag("--strict", options.strict,
                 "Fail when the application asks otherwise, or too late, or less")
        ->needs(file);
}

}  // namespace

std::optional<int> readCommandLine(int argc, char** argv, tool::StandardOutput& output,
                                   tool::OutputStream& errors, Options& options) {
    CLI::App app(
        "Serves \"mirvo.accessory.manager\" as the projection service of a car does.\n"
        "Without a script, commands are read from standard input.",
        "mirvo-emulator");
    app.set_version_flag("--version", "mirvo-emulator " ZRMIRVO_VERSION_TEXT,
                         "Print the version of mirvo-emulator");
    app.add_option("--script", options.script, "Run the commands of this file")
        ->type_name("FILE")
        ->check(checkName);
    addReplayOptions(app, options.replay);
    app.add_flag("--then-prompt", options.thenPrompt,
                 "Read commands from standard input after the script");
    app.add_option("--limit", options.limit,
                   "Fail if script and program are not over after this time")
        ->type_name("MS")
        ->check(checkNumber);
    app.add_flag("--exit-when-idle", options.exitWhenIdle,
                 "After the last command, end when the last client has gone");
    app.add_flag("--keep-going", options.keepGoing,
                 "Go on after a command on standard input that is wrong or fails");
    app.add_option("--version-text", options.version, "The version of the service")
        ->capture_default_str()
        ->type_name("TEXT");
    app.add_option("--dir", options.directory, "Where the service's socket is made")
        ->type_name("DIR")
        ->check(checkName);
    app.add_flag("--background", options.background,
                 "Print the process id when clients can find the service, and go on without a"
                 " terminal");
    app.add_option("--output", options.output, "Print to this file, errors included")
        ->type_name("FILE")
        ->check(checkName);
    app.add_flag("--json", options.printer.json, "Print JSON, one object a line");
    app.add_flag("--quiet", options.printer.quiet, "Print neither requests nor events");
    app.add_flag("--timestamps", options.printer.timestamps,
                 "Begin each line with the milliseconds since the start");
    app.add_flag("--clients", options.printer.clients,
                 "Show the process and the connection of each request");
    page::addOptions(app, options.page);
    app.add_option("COMMAND", options.application,
                   "A program to run, behind \"--\", and to end with");
    app.footer("\n" + tool::emulatorHelp());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            std::ostringstream text;
            app.exit(error, text);
            output.write(text.str());
            return output.exitStatus("mirvo-emulator", kDone);
        }
        const auto isProgram = [](const char* word) { return std::string_view(word) == "--"; };
        const auto isJson = [](const char* word) { return std::string_view(word) == "--json"; };
        char** const end = std::find_if(argv, argv + argc, isProgram);
        options.printer.json = std::any_of(argv + 1, end, isJson);
        Printer printer(output, errors, options.printer);
        const std::string reason = error.what();
        printer.end(printer.refuse(kBadInput, reason + " (see mirvo-emulator --help)"), 0);
        return kBadInput;
    }
    return std::nullopt;
}

}  // namespace emulator

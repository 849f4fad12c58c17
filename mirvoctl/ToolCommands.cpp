#include <string>
#include <vector>

#include "mirvoctl/Grammar.h"
#include "mirvoctl/Monitor.h"
#include "mirvoctl/Shell.h"
#include "tool/EventTable.h"

namespace mirvoctl {
namespace {

void declareMonitor(CLI::App& parser, Arguments& arguments) {
    MonitorOptions& options = arguments.monitor;
    const auto ids = [&](const std::vector<std::string>& given) {
        for (const std::string& word : given) {
            const auto id = tool::toNumber<uint32_t>(word);
            if (!id) throw CLI::ValidationError("ID", "not a number in range: " + word);
            options.ids.push_back(*id);
        }
    };
    parser.add_option_function<std::vector<std::string>>("ID", ids, "Of these accessories only");
    declareNumber<uint32_t>(parser, "--count", "End after so many events", [&](uint32_t count) {
        if (count == 0)
            throw CLI::ValidationError("--count", "is 0, so there is nothing to wait for");
        options.count = count;
    })->type_name("N");
    declareNumber<uint32_t>(parser, "--for", "End after so many milliseconds", [&](uint32_t time) {
        options.duration = std::chrono::milliseconds(time);
    })->type_name("MS");
    const auto until = [&](const std::string& name) {
        const tool::EventInfo* event = tool::findEvent(name);
        if (event == nullptr || !tool::isCallback(*event))
            throw CLI::ValidationError("--until", "no such event: " + name);
        options.until = event->name;
    };
    parser
        .add_option_function<std::string>("--until", until,
                                          "End after an event of this name, such as onAttach")
        ->type_name("EVENT");
    parser.add_flag("--follow", options.follow,
                    "When the service is lost, wait for the next one and go on");
    parser.add_flag("--timestamps", options.timestamps,
                    "Print before each event the milliseconds since the start");
}

Outcome runMonitor(Context& context, Arguments& arguments) {
    return monitor(context, arguments.monitor);
}

Outcome runShellCommand(Context& context, Arguments&) {
    return runShell(context.connection, context.output);
}

void declareHelp(CLI::App& parser, Arguments& arguments) {
    parser.add_option("COMMAND", arguments.text, "One of the commands");
}

Outcome showHelp(Context& context, Arguments& arguments) {
    const CLI::App* found = &context.parser;
    if (!arguments.text.empty()) {
        found = partNamed(context.parser, arguments.text);
        for (const char* group : {kDevice.name, kRecording.name}) {
            const CLI::App* part = partNamed(context.parser, group);
            if (found == nullptr && part != nullptr) found = partNamed(*part, arguments.text);
        }
    }
    if (found == nullptr) {
        throw Failure(kBadCommand,
                      "there is no command " + arguments.text + ": \"help\" lists them");
    }
    Outcome outcome;
    // App::help() would show the command that was parsed, which is this one.
    const std::string name = found == &context.parser ? "" : found->get_name();
    outcome.text = found->get_formatter()->make_help(found, name, CLI::AppFormatMode::Normal);
    outcome.data = {{"text", outcome.text}};
    return outcome;
}

Outcome quit(Context& context, Arguments&) {
    context.quit = true;
    return {};
}

const Command kMonitor = {
    {"monitor", "[ID]...", "Print every event as it comes"}, "monitor", declareMonitor, runMonitor};
const Command kHelp = {
    {"help", "[COMMAND]", "Show all commands, or how one is used"}, "help", declareHelp, showHelp};

}  // namespace

const std::vector<Command>& toolCommands() {
    static const std::vector<Command> kCommands = {
        kMonitor,
        {{"shell", "", "Perform commands that are read from standard input, one a line"},
         "shell",
         nullptr,
         runShellCommand},
        replayCommand(),
        kHelp,
    };
    return kCommands;
}

const std::vector<Command>& shellCommands() {
    static const std::vector<Command> kCommands = {
        kMonitor,
        kHelp,
        {{"quit", "", "End the shell"}, "quit", nullptr, quit},
        {{"exit", "", "The same"}, "exit", nullptr, quit},
    };
    return kCommands;
}

}  // namespace mirvoctl

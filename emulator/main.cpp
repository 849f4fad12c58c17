#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "emulator/Commands.h"
#include "emulator/Printer.h"
#include "emulator/Script.h"
#include "emulator/Service.h"
#include "tool/Waker.h"

namespace {

using namespace emulator;

enum ExitStatus { kDone = 0, kNotServing = 1, kBadInput = 2 };

struct Options {
    std::string script;
    std::string version = "3.6.6";
    std::string directory;
    bool json = false;
    bool quiet = false;
    bool exitWhenIdle = false;
};

// Commands come from a terminal, a pipe or a file. A device such as /dev/null is what a program is
// given that nobody talks to.
bool standardInputHasCommands() {
    struct stat status = {};
    if (fstat(STDIN_FILENO, &status) != 0) return false;
    return isatty(STDIN_FILENO) == 1 || !S_ISCHR(status.st_mode);
}

int run(const Options& options, tool::StandardOutput& output) {
    std::vector<Command> script;
    if (!options.script.empty() && !readScript(options.script, script)) return kBadInput;

    const Printer printer(output, options.json, options.quiet);
    tool::Waker waker(output);
    Service service(printer, waker, options.directory);
    service.change([&](World& world) { world.version = options.version; });
    // The log says why.
    if (!service.start()) return kNotServing;

    Session session{service, waker};
    if (options.script.empty() && standardInputHasCommands()) {
        if (!runStandardInput(session)) return kBadInput;
    }
    for (const Command& command : script) {
        if (session.over()) break;
        command(session);
    }
    if (session.over()) return kDone;
    waker.waitUntil([&] { return options.exitWhenIdle && service.idle(); });
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    tool::StandardOutput output;
    Options options;
    CLI::App app(
        "Serves \"mirvo.accessory.manager\" as the projection service of a car does.\n"
        "Without a script, commands are read from standard input.");
    app.add_option("--script", options.script, "Run the commands of this file")->type_name("FILE");
    app.add_option("--version-text", options.version, "The version of the service")
        ->capture_default_str()
        ->type_name("TEXT");
    app.add_option("--dir", options.directory, "Where the service's socket is made")
        ->type_name("DIR");
    app.add_flag("--json", options.json, "Print JSON, one object a line");
    app.add_flag("--quiet", options.quiet, "Print neither requests nor events");
    app.add_flag("--exit-when-idle", options.exitWhenIdle,
                 "After the last command, end when the last client has gone");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text) == 0 ? kDone : kBadInput;
        output.write(text.str());
        return output.exitStatus("mirvo-emulator", status);
    }
    return output.exitStatus("mirvo-emulator", run(options, output));
}

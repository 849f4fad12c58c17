#include <malloc.h>
#include <zrmirvo/Version.h>

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Application.h"
#include "emulator/Background.h"
#include "emulator/ExitStatus.h"
#include "emulator/Input.h"
#include "emulator/Parser.h"
#include "emulator/Printer.h"
#include "emulator/Script.h"
#include "emulator/Service.h"
#include "protocol/MirvoServiceInfo.h"
#include "standin/ServiceFolder.h"
#include "tool/EmulatorCommands.h"
#include "tool/ServicePlace.h"
#include "tool/Waker.h"

namespace {

using namespace emulator;

// How long the end waits for clients that have not taken what was sent: in all, while none of them
// takes anything, and when a signal has come.
constexpr int kFarewellMs = 60'000;
constexpr int kIdleFarewellMs = 5000;
constexpr int kHastyFarewellMs = 500;
constexpr int kSliceMs = 50;

struct Options {
    std::string script;
    std::string version = "3.6.6";
    std::string directory;
    std::string limit;
    std::string output;
    bool background = false;
    std::vector<std::string> application;
    Printer::Options printer;
    bool thenPrompt = false;
    bool keepGoing = false;
    bool exitWhenIdle = false;
};

bool readScript(Parser& parser, const std::string& path, std::vector<Step>& steps) {
    try {
        steps = parser.readFile(path);
        return true;
    } catch (const SyntaxError& error) {
        fprintf(stderr, "%s\n", error.what());
        return false;
    }
}

// Runs the script, then standard input, then serves until something ends it.
int serve(const Options& options, const std::vector<Step>& steps, Script& script) {
    Application application;
    if (!options.application.empty() && !application.start(options.application)) return kBadInput;
    for (const Step& step : steps) {
        if (script.over()) break;
        script.run(step);
    }
    if (script.failed()) return kNotMet;
    int status = kDone;
    const bool reads =
        (options.script.empty() && options.application.empty()) || options.thenPrompt;
    if (reads && !script.ended() && standardInputHasCommands()) {
        status = runStandardInput(script, options.keepGoing);
        if (status != kDone && !options.keepGoing) return status;
    }
    if (!options.application.empty()) {
        const auto ended = application.wait(script.waker(), script.deadline());
        if (script.over()) return script.failed() ? static_cast<int>(kNotMet) : status;
        return std::max(status, ended.value_or(kDone));
    }
    if (options.exitWhenIdle) {
        script.waitUntil([&] { return script.service.idle(); });
        return script.failed() ? static_cast<int>(kNotMet) : status;
    }
    script.unlimit();
    script.waitUntil([] { return false; });
    return status;
}

// Lets clients take what they were sent. Answers how much they did not.
size_t sayFarewell(Service& service, Script& script) {
    size_t left = service.waitUntilTaken(0);
    int idle = 0;
    for (int waited = 0; left > 0 && waited < kFarewellMs && idle < kIdleFarewellMs;
         waited += kSliceMs, idle += kSliceMs) {
        if (script.interrupted() && waited >= kHastyFarewellMs) break;
        const size_t before = std::exchange(left, service.waitUntilTaken(kSliceMs));
        if (left < before) idle = 0;
    }
    return left;
}

int run(const Options& options, tool::StandardOutput& output, Background& background) {
    if (!options.directory.empty()) tool::setServiceFolder(options.directory);
    std::vector<Step> steps;
    Parser parser;
    if (!options.script.empty() && !readScript(parser, options.script, steps)) return kBadInput;

    tool::Waker waker(output);
    Printer printer(output, options.printer);
    Service service(printer, waker);
    service.change([&](World& world) { world.version = options.version; });
    if (parser.expects() || options.script.empty() || options.thenPrompt) {
        service.look([](RequestLog& log) { log.keep(); });
    }
    // The log says why.
    if (!service.start()) return kNotServing;
    background.ready();
    const accessory::sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
    printer.ready(info->servicename(), accessory::standin::serviceFolder().path);

    Script script(service, printer, waker);
    if (!options.limit.empty()) {
        script.limit(std::chrono::milliseconds(*tool::toNumber<uint32_t>(options.limit)));
    }
    const int status = serve(options, steps, script);
    const size_t notTaken = sayFarewell(service, script);
    service.stop();
    printer.end(status, notTaken);
    return status;
}

std::string checkNumber(const std::string& given) {
    return tool::toNumber<uint32_t>(given) ? "" : "not a number of milliseconds: " + given;
}

}  // namespace

int main(int argc, char** argv) {
    tool::StandardOutput output;
    // Blocks of megabytes, as features may have, are given back to the system at once.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    Options options;
    CLI::App app(
        "Serves \"mirvo.accessory.manager\" as the projection service of a car does.\n"
        "Without a script, commands are read from standard input.",
        "mirvo-emulator");
    app.set_version_flag("--version", "mirvo-emulator " ZRMIRVO_VERSION_TEXT,
                         "Print the version of mirvo-emulator");
    app.add_option("--script", options.script, "Run the commands of this file")->type_name("FILE");
    app.add_flag("--then-prompt", options.thenPrompt,
                 "Read commands from standard input after the script");
    app.add_option("--limit", options.limit, "Fail if the script is not over after this time")
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
        ->type_name("DIR");
    app.add_flag("--background", options.background,
                 "Print the process id when clients can find the service, and go on without a"
                 " terminal");
    app.add_option("--output", options.output, "Print to this file; in the background errors, too")
        ->type_name("FILE");
    app.add_flag("--json", options.printer.json, "Print JSON, one object a line");
    app.add_flag("--quiet", options.printer.quiet, "Print neither requests nor events");
    app.add_flag("--timestamps", options.printer.timestamps,
                 "Begin each line with the milliseconds since the start");
    app.add_flag("--clients", options.printer.clients,
                 "Show the process and the connection of each request");
    app.add_option("COMMAND", options.application,
                   "A program to run, behind \"--\", and to end with");
    app.footer("\n" + tool::emulatorHelp());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text) == 0 ? kDone : kBadInput;
        output.write(text.str());
        return output.exitStatus("mirvo-emulator", status);
    }
    Background background;
    if (options.background) background.enter();
    if (!options.output.empty() && !redirectOutput(options.output)) return kNotServing;
    return output.exitStatus("mirvo-emulator", run(options, output, background));
}

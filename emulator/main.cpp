#include <malloc.h>
#include <zrmirvo/Version.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
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
#include "emulator/Replay.h"
#include "emulator/Script.h"
#include "emulator/Service.h"
#include "emulator/page/Page.h"
#include "protocol/MirvoServiceInfo.h"
#include "recording/Reader.h"
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
    page::PageOptions page;
    bool thenPrompt = false;
    bool keepGoing = false;
    bool exitWhenIdle = false;
    Replay::Options replay;
};

// Says why the emulator ends before its time.
int refuse(Printer& printer, int exit, const std::string& error) {
    Outcome outcome;
    outcome.error = error;
    outcome.exit = exit;
    printer.outcome(outcome);
    return exit;
}

// The commands of the script. Nothing when it cannot be understood, which it then says.
std::optional<std::vector<Step>> readScript(Parser& parser, const std::string& path,
                                            Printer& printer) {
    if (path.empty()) return std::vector<Step>();
    try {
        return parser.readFile(path);
    } catch (const FileErrors& errors) {
        for (const Mistake& mistake : errors.mistakes)
            printer.outcome({mistake.line, mistake.place, mistake.error, kBadInput});
    } catch (const SyntaxError& error) {
        refuse(printer, kBadInput, error.what());
    }
    return std::nullopt;
}

using StepIterator = std::vector<Step>::const_iterator;

StepIterator runWhile(Script& script, StepIterator step, StepIterator end, bool onlyPreparing) {
    const auto over = [&] { return script.failed() || script.ended(); };
    for (; step != end && (step->prepares || !onlyPreparing) && !over(); ++step)
        script.run(*step);
    return step;
}

// The recording. Nothing when there is to be none, or when it cannot be replayed, which it then
// says.
std::unique_ptr<Replay> readRecording(const Replay::Options& options, Printer& printer) {
    if (options.file.empty()) return nullptr;
    try {
        return std::make_unique<Replay>(options);
    } catch (const recording::Malformed& error) {
        refuse(printer, kBadInput, options.file + " cannot be replayed: " + error.what());
        return nullptr;
    }
}

// Tells what has come of the replay.
int endReplay(Replay& replay, int status, Script& script) {
    const std::string fault = replay.fault(!script.ended());
    script.printer.replay(replay.summary());
    // Before what standard error gets.
    script.printer.lines().flush();
    return fault.empty() || status == kNotMet ? status : refuse(script.printer, kNotMet, fault);
}

// Serves until the program, the last client or something else ends it.
int serveOn(const Options& options, Application& application, Replay* replay, Script& script,
            int status) {
    if (!options.application.empty()) {
        const auto ended = application.wait(script.waker(), script.deadline());
        if (script.over()) return script.failed() ? static_cast<int>(kNotMet) : status;
        return std::max(status, ended.value_or(kDone));
    }
    const auto failed = [&] { return replay != nullptr && !replay->fault(false).empty(); };
    if (options.exitWhenIdle) {
        script.waitUntil([&] { return script.service.idle() || failed(); });
        return script.failed() ? static_cast<int>(kNotMet) : status;
    }
    script.unlimit();
    script.waitUntil(failed);
    return status;
}

// Runs the rest of the script, then standard input, then serves until something ends it.
int serve(const Options& options, StepIterator step, StepIterator end, Replay* replay,
          page::Page& page, Script& script) {
    Application application;
    if (!options.application.empty()) {
        const std::string error = application.start(options.application);
        if (!error.empty()) return refuse(script.printer, kBadInput, error);
    }
    page.serve();
    runWhile(script, step, end, /*onlyPreparing=*/false);
    if (replay != nullptr) {
        Run run(script, Origin::kScript);
        replay->play(run);
    }
    if (script.failed()) return kNotMet;
    int status = kDone;
    if (replay != nullptr && !replay->fault(false).empty()) return status;
    const bool reads =
        (options.script.empty() && options.application.empty()) || options.thenPrompt;
    if (reads && !script.ended() && standardInputHasCommands()) {
        status = runStandardInput(script, options.keepGoing);
        if (script.failed()) return kNotMet;
        if (status != kDone && !options.keepGoing) return status;
    }
    return serveOn(options, application, replay, script, status);
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

int run(const Options& options, Printer& printer, tool::StandardOutput& output,
        Background& background, size_t& notTaken) {
    if (!options.directory.empty()) tool::setServiceFolder(options.directory);
    Parser parser;
    const auto steps = readScript(parser, options.script, printer);
    if (!steps) return kBadInput;
    const auto replay = readRecording(options.replay, printer);
    if (replay == nullptr && !options.replay.file.empty()) return kBadInput;

    tool::Waker waker(output);
    Service service(printer, waker);
    service.change([&](World& world) { world.version = options.version; });
    if (parser.expects() || options.script.empty() || options.thenPrompt) {
        service.look([](RequestLog& log) { log.keep(); });
    }
    if (replay != nullptr) {
        service.answerBy(replay.get());
        service.change([&](World& world) { replay->prepare(world); });
    }
    Script script(service, printer, waker);
    // No client is to find a service that is not yet as the script begins by saying.
    const auto next = runWhile(script, steps->begin(), steps->end(), /*onlyPreparing=*/true);
    page::Page page(options.page, script);
    if (!service.start()) {
        return refuse(printer, kNotServing, "the service cannot be started: the log says why");
    }
    if (const std::string error = page.start(); !error.empty()) {
        service.stop();
        return refuse(printer, kNotServing, error);
    }
    if (options.background && options.output.empty() && !page.address().empty()) {
        fprintf(stderr, "page: %s\n", page.address().c_str());
    }
    background.ready(!options.output.empty());
    const accessory::sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
    printer.ready(info->servicename(), accessory::standin::serviceFolder().path);
    if (!page.address().empty()) printer.page(page.address());
    if (!options.limit.empty()) {
        script.limit(std::chrono::milliseconds(*tool::toNumber<uint32_t>(options.limit)));
    }
    int status = serve(options, next, steps->end(), replay.get(), page, script);
    notTaken = sayFarewell(service, script);
    service.stop();
    if (replay != nullptr) status = endReplay(*replay, status, script);
    return status;
}

std::string checkNumber(const std::string& given) {
    return tool::toNumber<uint32_t>(given) ? "" : "not a number of milliseconds: " + given;
}

// The options of a replay; none of them means anything without it.
void addReplayOptions(CLI::App& app, Replay::Options& options) {
    auto* file = app.add_option("--replay", options.file, "Be the service of this recording")
                     ->type_name("FILE")
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

int main(int argc, char** argv) {
    tool::StandardOutput output;
    // Blocks of megabytes, as features may have, are given back to the system at once.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    Options options;
    CLI::App app(
        "Serves \"mirvo.accessory.manager\" as the projection service of a car does.\n"
        "Without a script, commands are read from standard input.",
        "mirvo-emulator");
    app.set_version_flag("--version", "mirvo-emulator " ZRMIRVO_VERSION_TEXT,
                         "Print the version of mirvo-emulator");
    app.add_option("--script", options.script, "Run the commands of this file")->type_name("FILE");
    addReplayOptions(app, options.replay);
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
    page::addOptions(app, options.page);
    app.add_option("COMMAND", options.application,
                   "A program to run, behind \"--\", and to end with");
    app.footer("\n" + tool::emulatorHelp());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const bool asked = error.get_exit_code() == 0;
        const auto isJson = [](const char* word) { return std::string_view(word) == "--json"; };
        if (!asked && std::any_of(argv + 1, argv + argc, isJson)) {
            options.printer.json = true;
            Printer printer(output, options.printer);
            printer.end(refuse(printer, kBadInput, error.what()), 0);
            return kBadInput;
        }
        std::ostringstream text;
        app.exit(error, text);
        output.write(text.str());
        return output.exitStatus("mirvo-emulator", asked ? kDone : kBadInput);
    }
    Background background;
    std::string error = options.background ? background.enter() : "";
    if (error.empty() && !options.output.empty()) error = redirectOutput(options.output);
    int status = kNotServing;
    {
        Printer printer(output, options.printer);
        size_t notTaken = 0;
        status = error.empty() ? run(options, printer, output, background, notTaken)
                               : refuse(printer, kNotServing, error);
        printer.end(status, notTaken);
    }
    return output.exitStatus("mirvo-emulator", status);
}

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/Background.h"
#include "emulator/CommandLine.h"
#include "emulator/ExitStatus.h"
#include "emulator/Parser.h"
#include "emulator/Printer.h"
#include "emulator/Replay.h"
#include "emulator/Script.h"
#include "emulator/Service.h"
#include "emulator/Serving.h"
#include "emulator/page/Page.h"
#include "protocol/MirvoServiceInfo.h"
#include "recording/Reader.h"
#include "standin/ServiceFolder.h"
#include "tool/ServicePlace.h"
#include "tool/Text.h"
#include "tool/Waker.h"

namespace {

using namespace emulator;

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
        printer.refuse(kBadInput, error.what());
    }
    return std::nullopt;
}

// The recording. Nothing when there is to be none, or when it cannot be replayed, which it then
// says.
std::unique_ptr<Replay> readRecording(const Replay::Options& options, Printer& printer) {
    if (options.file.empty()) return nullptr;
    try {
        return std::make_unique<Replay>(options);
    } catch (const recording::Malformed& error) {
        printer.refuse(kBadInput, options.file + " cannot be replayed: " + error.what());
        return nullptr;
    }
}

// Tells what has come of the replay. A program that a signal has cut short need not have asked
// everything. Without a program nothing but the signal or a command ends the replay.
int endReplay(Replay& replay, int status, bool hasProgram, Script& script) {
    const std::string fault = replay.fault(!hasProgram || !script.ended());
    script.printer.replay(replay.summary());
    // Before what standard error gets.
    script.printer.flush();
    return fault.empty() || status == kNotMet ? status : script.printer.refuse(kNotMet, fault);
}

int run(const Options& options, Printer& printer, tool::StandardOutput& output,
        tool::OutputStream& errors, Background& background, size_t& notTaken) {
    if (!options.directory.empty()) tool::setServiceFolder(options.directory);
    Parser parser;
    const auto steps = readScript(parser, options.script, printer);
    if (!steps) return kBadInput;
    const auto replay = readRecording(options.replay, printer);
    if (replay == nullptr && !options.replay.file.empty()) return kBadInput;

    tool::Waker waker(output, tool::Waker::Handlers::kKept);
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
    const Plan plan = {*steps, parser.expects(), replay.get()};
    // No client is to find a service that is not yet as the script begins by saying.
    const size_t prepared = prepare(plan, script);
    page::Page page(options.page, script);
    if (!service.start()) {
        return printer.refuse(kNotServing, "the service cannot be started: the log says why");
    }
    if (const std::string error = page.start(); !error.empty()) {
        service.stop();
        return printer.refuse(kNotServing, error);
    }
    if (options.background && options.output.empty() && !page.address().empty()) {
        fprintf(stderr, "page: %s\n", page.address().c_str());
    }
    if (!background.ready({output, errors, !options.output.empty(), !options.printer.json},
                          waker)) {
        service.stop();
        return printer.refuse(kNotServing, "whoever started the service could not be told of it");
    }
    const accessory::sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
    printer.ready(info->servicename(), accessory::standin::serviceFolder().path);
    if (!page.address().empty()) printer.page(page.address());
    if (!options.limit.empty()) {
        script.limit(std::chrono::milliseconds(*tool::toNumber<uint32_t>(options.limit)));
    }
    Application application(waker);
    int status = serve(options, plan, prepared, application, page, script);
    status = finish(application, script, status, notTaken);
    service.stop();
    if (replay != nullptr) status = endReplay(*replay, status, application.exists(), script);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    tool::StandardOutput output;
    tool::OutputStream errors(STDERR_FILENO);
    // Blocks of megabytes, as features may have, are given back to the system at once.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    Options options;
    if (const auto done = readCommandLine(argc, argv, output, errors, options)) return *done;
    Background background;
    std::string error = options.background ? background.enter(output) : "";
    if (error.empty() && !options.output.empty()) {
        options.printer.errorsToo = true;
        // In the background nobody is left who would read it.
        error = redirectOutput(output, options.output,
                               options.background ? nullptr : &options.outputBefore);
    }
    int status = kNotServing;
    {
        Printer printer(output, errors, options.printer);
        size_t notTaken = 0;
        status = error.empty() ? run(options, printer, output, errors, background, notTaken)
                               : printer.refuse(kNotServing, error);
        printer.end(status, notTaken);
    }
    return output.exitStatus("mirvo-emulator", status);
}

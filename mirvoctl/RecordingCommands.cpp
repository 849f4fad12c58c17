#include <algorithm>
#include <cstdio>

#include "mirvoctl/Recordings.h"
#include "recording/Reader.h"
#include "tool/EventTable.h"

namespace mirvoctl {
namespace {

void declareFile(CLI::App& parser, Arguments& arguments) {
    parser.add_option("FILE", arguments.recording.file, "The recording")->required();
}

template <typename Number>
void declareOptional(CLI::App& parser, const std::string& name, const char* type,
                     const std::string& help, std::optional<Number>& number) {
    declareNumber<Number>(parser, name, help, [&](Number given) {
        number = given;
    })->type_name(type);
}

// An option that may be given several times.
template <typename Use>
void declareRepeated(CLI::App& parser, const char* name, const char* type, const char* help,
                     const Use& use) {
    const auto each = [use](const std::vector<std::string>& words) {
        for (const std::string& word : words)
            use(word);
    };
    parser.add_option_function<std::vector<std::string>>(name, each, help)
        ->type_name(type)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void declareIgnore(CLI::App& parser, Arguments& arguments) {
    declareRepeated(parser, "--ignore", "NAME",
                    "Do not compare arguments of this name; the time of a touch never is",
                    [&](const std::string& name) { arguments.recording.ignored.push_back(name); });
}

void declareShow(CLI::App& parser, Arguments& arguments) {
    RecordingOptions& options = arguments.recording;
    declareFile(parser, arguments);
    declareRepeated(
        parser, "--accessory", "ID", "Only what concerns this accessory, or one of several",
        [&](const std::string& word) {
            const auto id = tool::toNumber<uint32_t>(word);
            if (!id) {
                throw CLI::ValidationError("--accessory", "not a number in range: " + word);
            }
            options.accessories.push_back(*id);
        });
    declareRepeated(parser, "--only", "NAME", "Only this operation or event, or one of several",
                    [&](const std::string& name) {
                        const tool::EventInfo* event = tool::findEvent(name);
                        if (event == nullptr && recording::findOperation(name) == nullptr) {
                            throw CLI::ValidationError("--only",
                                                       "no such operation or event: " + name);
                        }
                        // An event has two names.
                        const bool two = event != nullptr && event->command != nullptr;
                        options.names.push_back(two ? event->command : name);
                    });
    declareOptional(parser, "--thread", "N", "Only what happened on this thread", options.thread);
    parser.add_flag("--failed", options.failed, "Only requests that failed");
    declareOptional(parser, "--slower", "MS",
                    "Only requests and callbacks that took at least so many milliseconds",
                    options.slower);
    declareOptional(parser, "--from", "MS", "Only from this time on", options.from);
    declareOptional(parser, "--to", "MS", "Only up to this time", options.to);
}

void declareDiff(CLI::App& parser, Arguments& arguments) {
    parser.add_option("A", arguments.recording.file, "The first recording")->required();
    parser.add_option("B", arguments.recording.second, "The second recording")->required();
    declareIgnore(parser, arguments);
}

void declareScript(CLI::App& parser, Arguments& arguments) {
    declareFile(parser, arguments);
    declareNumber(parser, "--life", arguments.recording.life,
                  "Which life of the service, from 1; a script ends with the service")
        ->type_name("N");
}

void declareReplay(CLI::App& parser, Arguments& arguments) {
    RecordingOptions& options = arguments.recording;
    declareFile(parser, arguments);
    const auto speed = [&](const std::string& given) {
        const auto parsed = recording::Speed::parse(given);
        if (!parsed) throw CLI::ValidationError("--speed", "neither a number nor max: " + given);
        options.speed = *parsed;
    };
    parser
        .add_option_function<std::string>(
            "--speed", speed, "So many times faster than it was recorded, or as fast as possible")
        ->type_name("N|max");
    declareNumber(parser, "--patience", options.patience,
                  "Wait for an event so many milliseconds; 5000 without it")
        ->type_name("MS");
    declareIgnore(parser, arguments);
}

}  // namespace

recording::Timeline load(const std::string& file) {
    try {
        return recording::Timeline(file);
    } catch (const recording::Malformed& error) {
        throw Failure(kBadCommand, file + " is no recording: " + error.what());
    }
}

std::string milliseconds(uint64_t nanoseconds) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f", static_cast<double>(nanoseconds) / 1e6);
    return text;
}

const std::vector<Command>& recordingCommands() {
    static const std::vector<Command> kCommands = {
        {{"show", "FILE", "Print requests and events as the emulator does, with their times"},
         "recording show",
         declareShow,
         showRecording},
        {{"stats", "FILE",
          "Count requests and failures, and tell how long they and callbacks took"},
         "recording stats",
         declareFile,
         showStatistics},
        {{"diff", "FILE FILE", "Tell what the second run asked or was told otherwise"},
         "recording diff",
         declareDiff,
         compareRecordings},
        {{"script", "FILE", "Print the recording as a script of the emulator's"},
         "recording script",
         declareScript,
         makeScript},
    };
    return kCommands;
}

const Command& replayCommand() {
    static const Command kReplay = {
        {"replay", "FILE", "Be the application of a recording, and compare the answers"},
        "replay",
        declareReplay,
        replay};
    return kReplay;
}

}  // namespace mirvoctl

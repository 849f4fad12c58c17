#include "mirvoctl/Grammar.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace mirvoctl {
namespace {

const std::vector<Command>& ownCommands(Grammar::Place place) {
    return place == Grammar::Place::kShell ? shellCommands() : toolCommands();
}

// Shows commands with their arguments, as the tables have them.
class HelpFormatter final : public CLI::Formatter {
public:
    explicit HelpFormatter(Grammar::Place place) : mPlace(place) {}

    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode /*mode*/) const override {
        const std::string device = tool::commandHelp(infosOf(deviceCommands()));
        if (app->get_name() == kDevice.name) return "\nCommands:\n" + device;
        const std::string recording = tool::commandHelp(infosOf(recordingCommands()));
        if (app->get_name() == kRecording.name) return "\nCommands:\n" + recording;
        if (app->get_parent() != nullptr) return "";
        std::vector<tool::CommandInfo> infos = infosOf(managerCommands());
        infos.push_back(kDevice);
        for (const tool::CommandInfo& info : infosOf(ownCommands(mPlace)))
            infos.push_back(info);
        if (mPlace == Grammar::Place::kCommandLine) infos.push_back(kRecording);
        std::string text = "\nCommands:\n" + tool::commandHelp(infos) +
                           "\nCommands to one accessory, behind \"device ID\":\n" + device;
        if (mPlace == Grammar::Place::kShell) return text;
        return text + "\nCommands about recordings, behind \"recording\":\n" + recording;
    }

private:
    const Grammar::Place mPlace;
};

}  // namespace

std::vector<tool::CommandInfo> infosOf(const std::vector<Command>& commands) {
    std::vector<tool::CommandInfo> infos;
    infos.reserve(commands.size());
    for (const Command& command : commands)
        infos.push_back(command.info);
    return infos;
}

Grammar::Grammar(Place place)
    : mParser("Drives the projection service and its accessories through the library.",
              place == Place::kShell ? "" : "mirvoctl") {
    mParser.formatter(std::make_shared<HelpFormatter>(place));
    mParser.fallthrough();
    mParser.require_subcommand(0, 1);
    add(mParser, managerCommands());
    CLI::App* device = mParser.add_subcommand(kDevice.name, "Performs a command on one accessory.");
    device->require_subcommand(0, 1);
    declareNumber(*device, "ID", mArguments.accessory, "Of the accessory")->required();
    add(*device, deviceCommands());
    add(mParser, ownCommands(place));
    if (place == Place::kShell) return;
    CLI::App* recording = mParser.add_subcommand(kRecording.name, "Looks at a recording.");
    recording->require_subcommand(0, 1);
    add(*recording, recordingCommands());
}

void Grammar::add(CLI::App& parser, const std::vector<Command>& commands) {
    for (const Command& command : commands) {
        const std::string description = std::string(command.info.help) + ".";
        CLI::App* part = parser.add_subcommand(command.info.name, description);
        if (command.declare != nullptr) command.declare(*part, mArguments);
        mCommands[part] = &command;
    }
}

void Grammar::parse(std::vector<std::string> words) {
    // The parser takes its arguments from the back.
    std::reverse(words.begin(), words.end());
    mParser.parse(std::move(words));
    if (command() == nullptr) throw CLI::RequiredError("A command");
}

const Command* Grammar::command() const {
    const CLI::App* last = nullptr;
    for (auto found = mParser.get_subcommands(); !found.empty(); found = last->get_subcommands())
        last = found.front();
    return commandOf(last);
}

const Command* Grammar::commandOf(const CLI::App* part) const {
    const auto found = mCommands.find(part);
    return found == mCommands.end() ? nullptr : found->second;
}

const CLI::App* partNamed(const CLI::App& parser, const std::string& name) {
    const auto found =
        parser.get_subcommands([&](const CLI::App* part) { return part->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

}  // namespace mirvoctl

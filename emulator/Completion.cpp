#include "emulator/Completion.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>

#include "tool/EmulatorCommands.h"
#include "tool/FileNames.h"

namespace emulator {
namespace {

using tool::Argument;
using tool::EmulatorCommand;
using tool::Kind;
using tool::Section;

using Strings = std::vector<std::string>;

void append(Strings& all, Strings more) {
    std::move(more.begin(), more.end(), std::back_inserter(all));
}

class Completion {
public:
    Completion(Service& service, const Strings& words)
        : mService(service), mWords(words), mLast(words.size() - 1) {}

    // For the command that begins with the word `at`, of any section or of this one.
    Strings command(size_t at, std::optional<Section> section) const {
        Strings offered;
        for (const EmulatorCommand& row : tool::emulatorCommands()) {
            // Neither of those that have another command behind them stands behind another.
            const bool outer =
                !row.arguments.empty() && (row.arguments.back().kind == Kind::kAnyEvent ||
                                           row.arguments.back().kind == Kind::kAnyAnswer);
            if (section && (row.section != *section || outer)) continue;
            if (at == mLast) {
                offered.emplace_back(row.name);
            } else if (mWords[at] == row.name) {
                append(offered, arguments(row, at + 1));
            }
        }
        return offered;
    }

private:
    Strings arguments(const EmulatorCommand& row, size_t at) const {
        Strings offered;
        for (const Argument& argument : row.arguments) {
            if (argument.kind == Kind::kAnyEvent) return command(at, Section::kEvents);
            if (argument.kind == Kind::kAnyAnswer) return command(at, Section::kAnswers);
            if (argument.kind == Kind::kKeyword && at < mLast && mWords[at] != argument.shown) {
                return {};
            }
            if (at < mLast) {
                at += taken(argument, at);
                const bool repeated =
                    argument.kind == Kind::kIds || argument.kind == Kind::kPattern;
                if (!repeated || at < mLast) continue;
            }
            if (at > mLast) break;
            append(offered, values(argument));
            if (!argument.optional) break;
        }
        return offered;
    }

    // How many words before the last one are this argument's.
    size_t taken(const Argument& argument, size_t at) const {
        switch (argument.kind) {
            case Kind::kIds:
                return mLast - at;
            case Kind::kBytes:
            case Kind::kText:
                return mWords.size();
            case Kind::kPattern: {
                size_t count = 0;
                while (at + count < mLast && mWords[at + count].find('=') != std::string::npos)
                    ++count;
                return count;
            }
            case Kind::kWithin:
                return mWords[at] == "within" ? 2 : 0;
            default:
                return argument.optional && mWords[at] == "within" ? 0 : 1;
        }
    }

    Strings values(const Argument& argument) const {
        Strings values;
        switch (argument.kind) {
            case Kind::kOperation:
                return operationNames();
            case Kind::kFile:
                return tool::fileNames(mWords[mLast]);
            case Kind::kKeyword:
                return {argument.shown};
            case Kind::kWithin:
                return {"within"};
            case Kind::kId:
            case Kind::kIds:
                mService.change([&](World& world) {
                    for (const uint32_t id : world.ids)
                        values.push_back(std::to_string(id));
                });
                return values;
            case Kind::kProcess: {
                std::set<pid_t> processes;
                for (const auto& connection : mService.connections())
                    processes.insert(connection.process);
                for (const pid_t process : processes)
                    values.push_back(std::to_string(process));
                return values;
            }
            case Kind::kPattern: {
                // The operation stands before its arguments.
                const std::string& given = mWords[1];
                const Operation* operation = findOperation(given.substr(0, given.find('@')));
                if (operation == nullptr) return {};
                const Json known = emptyArguments(*operation);
                for (const auto& [name, value] : known.items())
                    values.push_back(name + "=");
                return values;
            }
            default:
                return {};
        }
    }

    Service& mService;
    const Strings& mWords;
    const size_t mLast;
};

}  // namespace

Strings completions(Service& service, const Strings& words) {
    Strings offered = Completion(service, words).command(0, std::nullopt);
    const std::string& begun = words.back();
    // A command that can be given in two ways has two rows.
    std::set<std::string> known;
    const auto unfit = [&](const std::string& word) {
        return word.compare(0, begun.size(), begun) != 0 || !known.insert(word).second;
    };
    offered.erase(std::remove_if(offered.begin(), offered.end(), unfit), offered.end());
    return offered;
}

}  // namespace emulator

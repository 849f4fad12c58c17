#include "emulator/Parser.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <system_error>
#include <utility>

namespace emulator {
namespace {

Action blockAction(const Parsed& opened, std::vector<Step> steps) {
    const auto program = std::make_shared<const std::vector<Step>>(std::move(steps));
    if (opened.arguments.has("count")) {
        return [program, count = opened.arguments.number<uint32_t>("count")](Run& run) {
            for (uint32_t i = 0; i < count && !run.over(); ++i)
                run.all(*program);
        };
    }
    const bool once = std::string_view(opened.command->name) == "on-next";
    return [program, once, target = opened.arguments.target()](Run& run) {
        const auto reaction = [program, &script = run.script] {
            Run(script, Origin::kReaction).all(*program);
        };
        run.service.changeReactions([&](Service::Reactions& reactions) {
            if (once) return reactions.once(target, reaction);
            reactions.always(target) = reaction;
        });
    };
}

bool isReaction(const Parsed& opened) {
    return !opened.arguments.has("count");
}

std::string textOf(const std::vector<Mistake>& mistakes) {
    std::string text;
    for (const Mistake& mistake : mistakes)
        text += (text.empty() ? "" : "\n") + mistake.place + ": " + mistake.error;
    return text;
}

// Whether the command only says how the service is from now on, so that it can be run before any
// client finds the service.
bool prepares(const Parsed& parsed) {
    using tool::Section;
    return parsed.command->section == Section::kAnswers ||
           parsed.command->section == Section::kWorld;
}

}  // namespace

FileErrors::FileErrors(std::vector<Mistake> all)
    : SyntaxError(textOf(all)), mistakes(std::move(all)) {}

std::vector<Step> Parser::feed(const std::string& line, const std::string& place) {
    const auto words = tool::splitWords(line);
    if (!words) throw SyntaxError("a quote stays open");
    if (words->empty()) return {};
    const Parsed parsed = parseCommand(*words);
    if (inReaction() && waitsForRequests(parsed)) {
        throw SyntaxError(std::string(parsed.command->name) +
                          " cannot stand in a reaction, which holds up the client's next request");
    }
    mExpects = mExpects || expectsRequests(parsed);
    const std::string_view name = parsed.command->name;
    if (parsed.command->block) {
        mBlocks.push_back({parsed, {place, parsed.line, {}, isReaction(parsed)}, {}});
        return {};
    }
    if (name == "end") return close();
    if (name == "include") {
        std::filesystem::path path = parsed.arguments.text("file");
        if (path.is_relative() && !mFiles.empty()) {
            path = std::filesystem::path(mFiles.back()).parent_path() / path;
        }
        return complete(readFile(path.string()));
    }
    return complete({{place, parsed.line, actionOf(parsed), prepares(parsed)}});
}

bool Parser::inReaction() const {
    return mInReaction || std::any_of(mBlocks.begin(), mBlocks.end(),
                                      [](const Block& block) { return isReaction(block.opened); });
}

std::vector<std::string> Parser::open() const {
    std::vector<std::string> names;
    for (const Block& block : mBlocks)
        names.emplace_back(block.opened.command->name);
    return names;
}

void Parser::finish() const {
    if (mBlocks.empty()) return;
    throw SyntaxError(std::string(mBlocks.back().opened.command->name) + " without end");
}

std::vector<Step> Parser::complete(std::vector<Step> steps) {
    if (mBlocks.empty()) return steps;
    auto& into = mBlocks.back().steps;
    std::move(steps.begin(), steps.end(), std::back_inserter(into));
    return {};
}

std::vector<Step> Parser::close() {
    if (mBlocks.empty()) throw SyntaxError("end without repeat, on or on-next");
    Block block = std::move(mBlocks.back());
    mBlocks.pop_back();
    block.step.action = blockAction(block.opened, std::move(block.steps));
    return complete({std::move(block.step)});
}

std::vector<Step> Parser::readFile(const std::string& path) {
    if (std::find(mFiles.begin(), mFiles.end(), path) != mFiles.end()) {
        throw SyntaxError("the file includes itself: " + path);
    }
    std::ifstream file(path);
    const auto reason = [] { return std::generic_category().message(errno); };
    if (!file) throw SyntaxError("cannot read " + path + ": " + reason());

    // A block must end in the file in which it begins.
    Parser parser;
    parser.mFiles = mFiles;
    parser.mFiles.push_back(path);
    parser.mInReaction = inReaction();
    std::vector<Step> steps;
    std::vector<Mistake> mistakes;
    size_t number = 0;
    const auto place = [&] { return path + ":" + std::to_string(number); };
    std::string line;
    const auto note = [&](const std::function<void()>& parse) {
        try {
            parse();
        } catch (const FileErrors& inner) {
            mistakes.insert(mistakes.end(), inner.mistakes.begin(), inner.mistakes.end());
        } catch (const SyntaxError& error) {
            mistakes.push_back({place(), line, error.what()});
        }
    };
    while (std::getline(file, line)) {
        ++number;
        note([&] {
            auto more = parser.feed(line, place());
            std::move(more.begin(), more.end(), std::back_inserter(steps));
        });
    }
    if (file.bad()) throw SyntaxError("cannot read " + path + ": " + reason());
    line.clear();
    note([&] { parser.finish(); });
    if (!mistakes.empty()) throw FileErrors(mistakes);
    mExpects = mExpects || parser.mExpects;
    return steps;
}

}  // namespace emulator

#include "emulator/Arguments.h"

#include <algorithm>
#include <limits>

namespace emulator {
namespace {

using tool::Argument;
using tool::EmulatorCommand;
using tool::Kind;
using tool::Section;

// The words of one command, taken one after the other.
class Words {
public:
    explicit Words(const std::vector<std::string>& words) : mWords(words) {}

    bool more() const { return mNext < mWords.size(); }
    bool nextIs(const std::string& word) const { return more() && mWords[mNext] == word; }

    const std::string& word(const std::string& what) {
        if (!more()) throw SyntaxError(what + " is missing");
        return mWords[mNext++];
    }

    template <typename Number>
    int64_t number(const std::string& what) {
        const std::string& given = word(what);
        const auto value = tool::toNumber<Number>(given);
        if (!value) throw SyntaxError(what + " is not a number in range: " + given);
        return *value;
    }

    std::vector<std::string> rest() {
        std::vector<std::string> rest(mWords.begin() + static_cast<ptrdiff_t>(mNext), mWords.end());
        mNext = mWords.size();
        return rest;
    }

private:
    const std::vector<std::string>& mWords;
    size_t mNext = 0;
};

std::string join(const std::vector<std::string>& words, bool quoted) {
    std::string line;
    for (const std::string& word : words) {
        if (!line.empty()) line += ' ';
        const bool needed =
            quoted && (word.empty() || word.find_first_of(" \t#") != std::string::npos);
        line += needed ? '"' + word + '"' : word;
    }
    return line;
}

Target readTarget(const std::string& given) {
    const size_t at = given.find('@');
    Target target;
    target.operation = findOperation(given.substr(0, at));
    if (target.operation == nullptr) {
        throw SyntaxError("no such operation: " + given.substr(0, at));
    }
    if (at == std::string::npos) return target;
    target.accessory = tool::toNumber<uint32_t>(given.substr(at + 1));
    if (!target.accessory) throw SyntaxError("ID is not a number in range: " + given);
    if (!concernsAccessory(*target.operation)) {
        throw SyntaxError(std::string(target.operation->name) +
                          " concerns the service and no accessory: " + given);
    }
    return target;
}

// Whether a touch can have this in one of its arrays.
bool isCoordinate(const Json& value) {
    return value.is_number_unsigned() &&
           value.get<uint64_t>() <= std::numeric_limits<uint32_t>::max();
}

template <typename Number>
Json readPatternNumber(const std::string& given) {
    const auto number = tool::toNumber<Number>(given);
    return number ? Json(*number) : Json();
}

// Null for what no request can have, since an `expect` of it would never be met.
Json tryPatternValue(const std::string& name, const std::string& given, const Json& example) {
    if (name == "data") {
        const auto bytes = tool::fromHex(given);
        return bytes ? Json(tool::toHex(bytes->data(), bytes->size())) : Json();
    }
    if (example.is_string()) return given;
    if (name == "time") return readPatternNumber<uint64_t>(given);
    if (example.is_number_unsigned()) return readPatternNumber<uint32_t>(given);
    if (example.is_number()) return readPatternNumber<int32_t>(given);
    const Json value = Json::parse(given, nullptr, /*allow_exceptions=*/false);
    const bool fits = value.type() == example.type() &&
                      (!value.is_array() || std::all_of(value.begin(), value.end(), isCoordinate));
    return fits ? value : Json();
}

// What a request's argument has to be, given as it is printed.
Json readPatternValue(const std::string& name, const std::string& given, const Json& example) {
    Json value = tryPatternValue(name, given, example);
    if (value.is_null()) throw SyntaxError("not a value of " + name + ": " + given);
    return value;
}

// A touch has `count` values in each of its arrays.
void refuseContradictions(const std::vector<std::pair<std::string, Json>>& pattern) {
    const std::string* counting = nullptr;
    Json count;
    for (const auto& [name, value] : pattern) {
        if (name != "count" && !value.is_array()) continue;
        const Json own = value.is_array() ? Json(value.size()) : value;
        if (counting != nullptr && own != count) {
            throw SyntaxError(*counting + " and " + name +
                              " do not fit: a touch has as many values in each array as it counts");
        }
        counting = &name;
        count = own;
    }
}

std::vector<std::pair<std::string, Json>> readPattern(Words& words, const Operation& operation) {
    std::vector<std::pair<std::string, Json>> pattern;
    const Json known = emptyArguments(operation);
    while (words.more() && !words.nextIs("within")) {
        const std::string& given = words.word("NAME=VALUE");
        const size_t equals = given.find('=');
        if (equals == std::string::npos) throw SyntaxError("not NAME=VALUE: " + given);
        const std::string name = given.substr(0, equals);
        if (!known.contains(name)) {
            throw SyntaxError(std::string(operation.name) + " has no argument " + name);
        }
        const auto same = [&](const auto& argument) { return argument.first == name; };
        if (std::any_of(pattern.begin(), pattern.end(), same)) {
            throw SyntaxError(name + " is given twice");
        }
        pattern.emplace_back(name, readPatternValue(name, given.substr(equals + 1), known[name]));
    }
    refuseContradictions(pattern);
    return pattern;
}

tool::Bytes readBytes(const std::string& given) {
    const auto bytes = tool::fromHex(given);
    if (!bytes) throw SyntaxError("bytes are not pairs of hexadecimal digits: " + given);
    return *bytes;
}

Arguments::Value read(const Argument& argument, Words& words, const Parsed& parsed) {
    const std::string shown = argument.shown;
    switch (argument.kind) {
        case Kind::kInteger:
        case Kind::kProcess:
            return words.number<int32_t>(shown);
        case Kind::kId:
        case Kind::kCount:
        case Kind::kMilliseconds:
            return words.number<uint32_t>(shown);
        case Kind::kWithin:
            if (!words.nextIs("within")) throw SyntaxError("within MS is missing");
            words.word("within");
            return words.number<uint32_t>(shown);
        case Kind::kOperation:
            return readTarget(words.word("operation"));
        case Kind::kBytes:
            return readBytes(join(words.rest(), false));
        case Kind::kText:
            return join(words.rest(), false);
        case Kind::kFile:
        case Kind::kKeyword:
            return words.word(shown);
        case Kind::kIds: {
            std::vector<uint32_t> ids;
            while (words.more())
                ids.push_back(static_cast<uint32_t>(words.number<uint32_t>(shown)));
            return ids;
        }
        case Kind::kPattern:
            return readPattern(words, *parsed.arguments.target().operation);
        case Kind::kAnyEvent:
        case Kind::kAnyAnswer:
            break;
    }
    return std::string();
}

// Whether an optional argument is there. Those that take any number of words always are.
bool isGiven(const Argument& argument, const Words& words) {
    if (!argument.optional) return true;
    if (argument.kind == Kind::kIds || argument.kind == Kind::kPattern ||
        argument.kind == Kind::kText) {
        return true;
    }
    return words.more() && (argument.kind == Kind::kWithin) == words.nextIs("within");
}

const EmulatorCommand& rowFor(const std::vector<std::string>& words) {
    for (const EmulatorCommand& command : tool::emulatorCommands()) {
        if (words[0] != command.name) continue;
        // Whether a keyword that tells two rows apart is where this one has it.
        bool fits = true;
        for (size_t i = 0; i < command.arguments.size(); ++i) {
            const Argument& argument = command.arguments[i];
            if (argument.kind != Kind::kKeyword) continue;
            fits = fits && words.size() > i + 1 && words[i + 1] == argument.shown;
        }
        if (fits) return command;
    }
    throw SyntaxError("no such command: " + words[0]);
}

// `once` and `to` have a command behind them.
Parsed readInner(const EmulatorCommand& outer, Words& words, Section section, const char* what) {
    const std::vector<std::string> rest = words.rest();
    if (rest.empty()) throw SyntaxError(std::string(what) + " is missing");
    Parsed inner = parseCommand(rest);
    if (inner.command->section != section || inner.command == &outer) {
        throw SyntaxError("only " + std::string(what) + "s follow " + outer.name);
    }
    return inner;
}

}  // namespace

std::optional<std::chrono::milliseconds> Arguments::within() const {
    if (!has("within")) return {};
    return std::chrono::milliseconds(number<uint32_t>("within"));
}

Json Arguments::shown(const std::string& name) const {
    const Value& value = mValues.at(name);
    if (const auto* bytes = std::get_if<tool::Bytes>(&value)) {
        return tool::toHex(bytes->data(), bytes->size());
    }
    return std::get<int64_t>(value);
}

Parsed parseCommand(const std::vector<std::string>& all) {
    const EmulatorCommand& command = rowFor(all);
    Parsed parsed;
    parsed.command = &command;
    parsed.line = join(all, true);
    Words words(all);
    words.word("command");
    try {
        for (const Argument& argument : command.arguments) {
            if (argument.kind == Kind::kAnyEvent) {
                parsed.inner.push_back(readInner(command, words, Section::kEvents, "event"));
            } else if (argument.kind == Kind::kAnyAnswer) {
                parsed.inner.push_back(readInner(command, words, Section::kAnswers, "answer"));
            } else if (isGiven(argument, words)) {
                parsed.arguments.set(argument.name, read(argument, words, parsed));
            }
        }
        if (words.more()) throw SyntaxError("too many words");
    } catch (const SyntaxError& error) {
        const std::string why = error.what();
        if (why.find(" (usage: ") != std::string::npos) throw;
        throw SyntaxError(why + " (usage: " + tool::usage(command) + ")");
    }
    return parsed;
}

}  // namespace emulator

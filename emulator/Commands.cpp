#include "emulator/Commands.h"

#include <csignal>
#include <utility>

#include "emulator/Events.h"
#include "protocol/MVCodes.h"
#include "protocol/MVDeviceRecords.h"

namespace emulator {
namespace {

using namespace accessory;

// Events: how each is read.

template <int32_t Code, void (World::*Change)(uint32_t)>
Command managerEvent(Words& words) {
    const uint32_t id = words.id();
    return [id, line = words.line()](Session& session) {
        session.service.change([id](World& world) { (world.*Change)(id); });
        session.service.push(emulator::managerEvent(Code, id), line);
    };
}

template <Notification (*Read)(Words& words)>
Command event(Words& words) {
    const Notification notification = Read(words);
    return [notification, line = words.line()](Session& session) {
        session.service.push(notification, line);
    };
}

template <int32_t Code>
Notification commonEvent(Words& words) {
    const uint32_t id = words.id();
    const int32_t value = Code == MV_CONTROL_UNAVAILABLE ? -1 : words.number("value");
    return accessoryEvent(id, Code, value);
}

Notification anyCommonEvent(Words& words) {
    const uint32_t id = words.id();
    const int32_t code = words.number("sub-code");
    return accessoryEvent(id, code, words.number("value"));
}

template <int32_t Code>
Notification bytesEvent(Words& words) {
    const uint32_t id = words.id();
    return rawEvent(id, Code, words.bytes());
}

Notification anyRawEvent(Words& words) {
    const uint32_t id = words.id();
    const int32_t code = words.number("sub-code");
    return rawEvent(id, code, words.bytes());
}

Notification requestEvent(Words& words) {
    const uint32_t id = words.id();
    const int32_t param1 = words.number("first number");
    return deviceRequest(id, param1, words.number("second number"));
}

Notification requestDataEvent(Words& words) {
    const uint32_t id = words.id();
    const tool::Bytes bytes = words.bytes();
    if (bytes.size() > MVDeviceRequest::kMaxData) throw SyntaxError("more than 36 bytes");
    return deviceRequestData(id, bytes);
}

Notification responseEvent(Words& words) {
    return deviceResponse(words.id());
}

Notification timeDateEvent(Words& words) {
    const uint32_t id = words.id();
    std::array<int32_t, 9> numbers = {};
    for (int32_t& number : numbers)
        number = words.number("one of nine numbers");
    return timeDate(id, numbers);
}

// Answers: how each changes a rule.

Answers::Change answerChange(Words& words) {
    Rule answer;
    if (words.take("bytes")) {
        answer.bytes = words.bytes();
    } else {
        answer.result = words.number("result");
    }
    return [answer](Rule& rule) {
        rule.silent = rule.mistype = false;
        if (answer.bytes) rule.bytes = answer.bytes;
        if (answer.result) rule.result = answer.result;
    };
}

Answers::Change silentChange(Words&) {
    return [](Rule& rule) { rule.silent = true; };
}

Answers::Change mistypeChange(Words&) {
    return [](Rule& rule) {
        rule.silent = false;
        rule.mistype = true;
    };
}

Answers::Change delayChange(Words& words) {
    const auto milliseconds = words.number<uint32_t>("milliseconds");
    return [milliseconds](Rule& rule) { rule.delayMs = milliseconds; };
}

Answers::Change normalChange(Words&) {
    return [](Rule& rule) { rule = Rule(); };
}

template <Answers::Change (*Read)(Words& words), bool Once>
Command answer(Words& words) {
    const std::string target = words.target();
    const Answers::Change change = Read(words);
    return [=](Session& session) {
        session.service.changeAnswers([&](Answers& answers) {
            if (Once) {
                answers.once(target, change);
            } else if (Read == normalChange) {
                answers.normal(target);
            } else {
                answers.always(target, change);
            }
        });
    };
}

// The world.

Command idsCommand(Words& words) {
    std::vector<uint32_t> ids;
    while (words.more())
        ids.push_back(words.id());
    return [ids](Session& session) {
        session.service.change([&](World& world) {
            world.ids.clear();
            for (const uint32_t id : ids)
                world.attach(id);
        });
    };
}

Command descriptorBytesCommand(Words& words) {
    return [bytes = words.bytes()](Session& session) {
        session.service.change([&](World& world) { world.descriptor = bytes; });
    };
}

Command versionCommand(Words& words) {
    return [version = words.rest()](Session& session) {
        session.service.change([&](World& world) { world.version = version; });
    };
}

Command waitCommand(Words& words) {
    const auto milliseconds = std::chrono::milliseconds(words.number<uint32_t>("milliseconds"));
    return [milliseconds](Session& session) {
        const auto until = std::chrono::steady_clock::now() + milliseconds;
        session.waker.waitUntil([] { return false; }, until);
    };
}

Command waitForCommand(Words& words) {
    const std::string target = words.target();
    const uint32_t count = words.more() ? words.number<uint32_t>("count") : 1;
    return [target, count](Session& session) {
        session.waker.waitUntil([&] { return session.service.takeArrivals(target, count); });
    };
}

// A process that is killed leaves its socket behind, and one that is stopped keeps its connections:
// clients see what a crash and a hang look like.
template <int Signal>
Command signalCommand(Words&) {
    return [](Session&) { raise(Signal); };
}

Command quitCommand(Words&) {
    return [](Session& session) { session.quit = true; };
}

struct Row {
    const char* name;
    const char* arguments;
    Command (*parse)(Words& words);
    // Where this is an answer: the same for the next request only.
    Command (*parseOnce)(Words& words) = nullptr;
};

constexpr Row kCommands[] = {
    {"attach", "ID", managerEvent<MV_ATTACHED, &World::attach>},
    {"detach", "ID", managerEvent<MV_DETACHED, &World::detach>},
    {"unavailable", "ID", event<commonEvent<MV_CONTROL_UNAVAILABLE>>},
    {"state", "ID N", event<commonEvent<MV_RUNNING_STATE_CHANGE>>},
    {"orientation", "ID N", event<commonEvent<MV_SCREEN_ORIENTATION_CHANGE>>},
    {"error", "ID CODE", event<commonEvent<MV_ERROR_EVENT>>},
    {"request", "ID A B", event<requestEvent>},
    {"request-data", "ID HEX", event<requestDataEvent>},
    {"response", "ID", event<responseEvent>},
    {"time-date", "ID NINE NUMBERS", event<timeDateEvent>},
    {"descriptor", "ID HEX", event<bytesEvent<MV_HID_REPORT_DESCRIPTOR>>},
    {"hid", "ID HEX", event<bytesEvent<MV_HID_EVENT>>},
    {"raw", "ID SUBCODE HEX", event<anyRawEvent>},
    {"notify", "ID SUBCODE VALUE", event<anyCommonEvent>},
    {"answer", "OP RESULT | OP bytes HEX", answer<answerChange, false>, answer<answerChange, true>},
    {"silent", "OP", answer<silentChange, false>, answer<silentChange, true>},
    {"mistype", "OP", answer<mistypeChange, false>, answer<mistypeChange, true>},
    {"delay", "OP MS", answer<delayChange, false>, answer<delayChange, true>},
    {"normal", "OP", answer<normalChange, false>, answer<normalChange, true>},
    {"ids", "N...", idsCommand},
    {"descriptor-bytes", "HEX", descriptorBytesCommand},
    {"version", "TEXT", versionCommand},
    {"wait", "MS", waitCommand},
    {"wait-for", "OP [COUNT]", waitForCommand},
    {"die", "", signalCommand<SIGKILL>},
    {"hang", "", signalCommand<SIGSTOP>},
    {"quit", "", quitCommand},
};
constexpr Row kRepeat = {"repeat", "N", nullptr};
constexpr Row kEnd = {"end", "", nullptr};

const Row& rowOf(const std::string& name) {
    for (const Row& row : kCommands) {
        if (name == row.name) return row;
    }
    throw SyntaxError("no such command: " + name);
}

// Runs `parse` and adds to its complaint how the command looks.
template <typename Parse>
auto parseAs(const Row& row, const Words& words, Parse parse) {
    try {
        auto parsed = parse();
        if (words.more()) throw SyntaxError("too many words");
        return parsed;
    } catch (const SyntaxError& error) {
        std::string usage = row.name;
        if (*row.arguments != '\0') usage += std::string(" ") + row.arguments;
        throw SyntaxError(std::string(error.what()) + " (usage: " + usage + ")");
    }
}

}  // namespace

Command Parser::feed(const std::string& line) {
    const auto split = tool::splitWords(line);
    if (!split) throw SyntaxError("a quote stays open");
    if (split->empty()) return {};
    Words words(*split);
    if (words.take(kEnd.name)) {
        return parseAs(kEnd, words, [&] {
            // Before the block is closed, which nothing undoes.
            if (words.more()) throw SyntaxError("too many words");
            return close();
        });
    }
    if (words.take(kRepeat.name)) {
        const auto count = parseAs(kRepeat, words, [&] { return words.number<uint32_t>("count"); });
        mBlocks.push_back({count, {}});
        return {};
    }
    const bool once = words.take("once");
    const Row& row = rowOf(words.word("the answer after once"));
    const auto parse = once ? row.parseOnce : row.parse;
    if (parse == nullptr) throw SyntaxError("only answers follow once");
    return complete(parseAs(row, words, [&] { return parse(words); }));
}

Command Parser::complete(Command command) {
    if (!open()) return command;
    mBlocks.back().commands.push_back(std::move(command));
    return {};
}

Command Parser::close() {
    if (!open()) throw SyntaxError("end without repeat");
    const Block block = std::move(mBlocks.back());
    mBlocks.pop_back();
    return complete([block](Session& session) {
        for (uint32_t i = 0; i < block.count; ++i) {
            for (const Command& command : block.commands) {
                if (session.over()) return;
                command(session);
            }
        }
    });
}

}  // namespace emulator

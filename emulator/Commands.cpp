#include "emulator/Commands.h"

#include <csignal>
#include <string_view>

#include "emulator/EventCommands.h"
#include "emulator/RequestCommands.h"

namespace emulator {
namespace {

using tool::Section;

// Answers: how each changes a rule.

RuleChange replyWith(Rule::Instead instead) {
    return [instead](Rule& rule) { rule.instead = instead; };
}

RuleChange changeOf(const Parsed& parsed) {
    const std::string_view name = parsed.command->name;
    const Arguments& arguments = parsed.arguments;
    if (name == "silent") return replyWith(Rule::Instead::kSilence);
    if (name == "no-reply") return replyWith(Rule::Instead::kNoReply);
    if (name == "mistype") return replyWith(Rule::Instead::kWrongClass);
    if (name == "delay") {
        return [delay = arguments.number<uint32_t>("milliseconds")](Rule& rule) {
            rule.delayMs = delay;
        };
    }
    if (name == "normal") return [](Rule& rule) { rule = Rule(); };
    if (arguments.has("bytes")) {
        return [bytes = std::make_shared<const tool::Bytes>(arguments.data())](Rule& rule) {
            rule.instead = Rule::Instead::kNothing;
            rule.bytes = bytes;
        };
    }
    return [result = arguments.number("result")](Rule& rule) {
        rule.instead = Rule::Instead::kNothing;
        rule.result = result;
    };
}

Action answerAction(const Parsed& parsed) {
    const bool once = !parsed.inner.empty();
    const Parsed& answer = once ? parsed.inner.front() : parsed;
    const bool normal = std::string_view(answer.command->name) == "normal";
    return [target = answer.arguments.target(), change = changeOf(answer), once, normal](Run& run) {
        run.service.changeAnswers([&](Answers& answers) {
            if (once) {
                Rule rule;
                change(rule);
                return answers.once(target, rule);
            }
            // Afterwards a rule is left, so that one accessory can be normal while others are not.
            if (normal) answers.forget(target);
            change(answers.always(target));
        });
    };
}

Action eventAction(const Parsed& parsed, std::optional<pid_t> process) {
    Event event = makeEvent(process ? parsed.inner.front() : parsed);
    event.command = parsed.line;
    if (process) event.shown["pid"] = *process;
    return [event, process, parsed](Run& run) {
        if (!process) run.service.change([&](World& world) { applyEvent(parsed, world); });
        run.push(event, process);
    };
}

// The rest.

Action ids(const Parsed& parsed) {
    return [ids = parsed.arguments.get<std::vector<uint32_t>>("accessories")](Run& run) {
        run.service.change([&](World& world) {
            world.ids.clear();
            for (const uint32_t id : ids)
                world.attach(id);
        });
    };
}

Action descriptorBytes(const Parsed& parsed) {
    return [bytes = parsed.arguments.data()](Run& run) {
        run.service.change([&](World& world) { world.descriptor = bytes; });
    };
}

Action version(const Parsed& parsed) {
    return [version = parsed.arguments.text("version")](Run& run) {
        run.service.change([&](World& world) { world.version = version; });
    };
}

Action wait(const Parsed& parsed) {
    return [milliseconds = parsed.arguments.number<uint32_t>("milliseconds")](Run& run) {
        run.pause(milliseconds);
    };
}

Action clients(const Parsed& /*parsed*/) {
    return [](Run& run) { run.script.printer.clients(run.service.connections()); };
}

Action drop(const Parsed& parsed) {
    return [process = parsed.arguments.number<pid_t>("pid")](Run& run) {
        if (!run.service.drop(process)) {
            run.fail("process " + std::to_string(process) + " is no client");
        }
    };
}

Action to(const Parsed& parsed) {
    return eventAction(parsed, parsed.arguments.number<pid_t>("pid"));
}

Action help(const Parsed& /*parsed*/) {
    return [](Run& run) { run.script.printer.help(tool::emulatorHelp()); };
}

// A process that is killed leaves its socket behind, and one that is stopped keeps its connections:
// clients see what a crash and a hang look like. What has been printed stays printed.
template <int Signal>
Action endBy(const Parsed& /*parsed*/) {
    return [](Run& run) {
        run.script.printer.flush();
        raise(Signal);
    };
}

Action quit(const Parsed& /*parsed*/) {
    return [](Run& run) { run.script.quit(); };
}

constexpr struct {
    std::string_view name;
    Action (*make)(const Parsed& parsed);
    bool waits = false;
    bool expects = false;
} kMakers[] = {
    {"ids", ids},
    {"descriptor-bytes", descriptorBytes},
    {"version", version},
    {"wait", wait},
    {"clients", clients},
    {"drop", drop},
    {"to", to},
    {"help", help},
    {"die", endBy<SIGKILL>},
    {"hang", endBy<SIGSTOP>},
    {"quit", quit},
    {"wait-for", waitFor, true},
    {"arrived", waitFor, true},
    {"expect", expect, true, true},
    {"expect-no", expectNo, true, true},
    {"expect-idle", expectIdle, true, true},
};

const auto* makerOf(const Parsed& parsed) {
    for (const auto& maker : kMakers) {
        if (maker.name == parsed.command->name) return &maker;
    }
    return static_cast<decltype(&kMakers[0])>(nullptr);
}

}  // namespace

Action actionOf(const Parsed& parsed) {
    if (parsed.command->section == Section::kEvents) return eventAction(parsed, std::nullopt);
    if (parsed.command->section == Section::kAnswers) return answerAction(parsed);
    const auto* maker = makerOf(parsed);
    if (maker == nullptr) throw SyntaxError(std::string("nothing does ") + parsed.command->name);
    return maker->make(parsed);
}

bool waitsForRequests(const Parsed& parsed) {
    const auto* maker = makerOf(parsed);
    return maker != nullptr && maker->waits;
}

bool expectsRequests(const Parsed& parsed) {
    const auto* maker = makerOf(parsed);
    return maker != nullptr && maker->expects;
}

}  // namespace emulator

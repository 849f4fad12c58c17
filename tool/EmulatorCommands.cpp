#include "tool/EmulatorCommands.h"

#include <algorithm>

namespace tool {
namespace {

constexpr Argument kId = {"accessory", Kind::kId, "ID"};
constexpr Argument kOperation = {"operation", Kind::kOperation, "OP"};
constexpr Argument kData = {"data", Kind::kBytes, "HEX"};
constexpr Argument kTimes = {"count", Kind::kCount, "COUNT", true};
constexpr Argument kWithin = {"within", Kind::kWithin, "MS"};
constexpr Argument kPerhapsWithin = {"within", Kind::kWithin, "MS", true};
constexpr Argument kProcess = {"pid", Kind::kProcess, "PID"};

constexpr Argument number(const char* name, const char* shown) {
    return {name, Kind::kInteger, shown};
}

std::vector<EmulatorCommand> makeCommands() {
    using S = Section;
    return {
        {"attach",
         S::kEvents,
         {kId},
         "report that the accessory has come; it is known from now on"},
        {"detach", S::kEvents, {kId}, "report that the accessory has gone; it is known no longer"},
        {"unavailable", S::kEvents, {kId}, "report that the accessory cannot be controlled"},
        {"state", S::kEvents, {kId, number("state", "N")}, "report another running state"},
        {"orientation",
         S::kEvents,
         {kId, number("orientation", "N")},
         "report another orientation of the screen"},
        {"error", S::kEvents, {kId, number("code", "CODE")}, "report an error of the accessory"},
        {"request",
         S::kEvents,
         {kId, number("param1", "A"), number("param2", "B")},
         "let the accessory request something with two numbers"},
        {"request-data",
         S::kEvents,
         {kId, kData},
         "let the accessory request something with at most 36 bytes"},
        {"response", S::kEvents, {kId}, "let the accessory respond"},
        {"time-date",
         S::kEvents,
         {kId, number("date1", "DATE1"), number("date2", "DATE2"), number("date3", "DATE3"),
          number("hour", "HOUR"), number("minute", "MINUTE"), number("second", "SECOND"),
          number("fraction", "FRACTION"), number("week", "WEEK"), number("dayOfWeek", "DAY")},
         "let the accessory respond with a date and a time"},
        {"descriptor", S::kEvents, {kId, kData}, "send a HID report descriptor"},
        {"hid", S::kEvents, {kId, kData}, "send a HID event"},
        {"raw",
         S::kEvents,
         {kId, number("subCode", "SUBCODE"), kData},
         "send any notification with bytes, sensible or not"},
        {"notify",
         S::kEvents,
         {kId, number("subCode", "SUBCODE"), number("value", "VALUE")},
         "send any notification with a value, sensible or not"},

        {"answer",
         S::kAnswers,
         {kOperation, {"bytes", Kind::kKeyword, "bytes"}, kData},
         "answer with these bytes"},
        {"answer",
         S::kAnswers,
         {kOperation, number("result", "RESULT")},
         "answer with this result"},
        {"silent", S::kAnswers, {kOperation}, "do not answer: the client waits for its timeout"},
        {"no-reply", S::kAnswers, {kOperation}, "tell the client at once that there is no reply"},
        {"mistype", S::kAnswers, {kOperation}, "answer with a message of the wrong class"},
        {"delay",
         S::kAnswers,
         {kOperation, {"milliseconds", Kind::kMilliseconds, "MS"}},
         "answer that much later"},
        {"normal", S::kAnswers, {kOperation}, "answer as if nothing had been set"},
        {"once",
         S::kAnswers,
         {{"answer", Kind::kAnyAnswer, "ANSWER"}},
         "apply one of the commands above to the next request only"},

        {"wait-for",
         S::kRequests,
         {kOperation, kTimes, kPerhapsWithin},
         "wait until so many requests, 1 by default, have been answered"},
        {"arrived",
         S::kRequests,
         {kOperation, kTimes, kPerhapsWithin},
         "wait until so many requests, 1 by default, have come and are about to be answered"},
        {"expect",
         S::kRequests,
         {kOperation, {"arguments", Kind::kPattern, "NAME=VALUE", true}, kPerhapsWithin},
         "take such a request, or fail if none comes within 5000 ms"},
        {"expect-no",
         S::kRequests,
         {kOperation, kWithin},
         "fail if such a request is left or comes in this time"},
        {"expect-idle", S::kRequests, {}, "fail if any request is left that no expect has taken"},

        {"wait", S::kFlow, {{"milliseconds", Kind::kMilliseconds, "MS"}}, "pause"},
        {"repeat",
         S::kFlow,
         {{"count", Kind::kCount, "N"}},
         "run the lines up to \"end\" so many times",
         true},
        {"on", S::kFlow, {kOperation}, "run the lines up to \"end\" after each such request", true},
        {"on-next",
         S::kFlow,
         {kOperation},
         "run the lines up to \"end\" after the next such request",
         true},
        {"end", S::kFlow, {}, R"(end "repeat", "on" or "on-next")"},
        {"include", S::kFlow, {{"file", Kind::kFile, "FILE"}}, "run the commands of another file"},

        {"ids",
         S::kWorld,
         {{"accessories", Kind::kIds, "ID", true}},
         "know exactly these accessories, without an event"},
        {"descriptor-bytes", S::kWorld, {kData}, "have this HID descriptor"},
        {"version", S::kWorld, {{"version", Kind::kText, "TEXT", true}}, "have this version"},

        {"clients", S::kClients, {}, "list the clients that are connected"},
        {"drop", S::kClients, {kProcess}, "close all connections of a client"},
        {"to",
         S::kClients,
         {kProcess, {"event", Kind::kAnyEvent, "EVENT"}},
         "send an event to one client only"},

        {"help", S::kEnd, {}, "list the commands"},
        {"die", S::kEnd, {}, "end as by a crash, by SIGKILL"},
        {"hang", S::kEnd, {}, "stop as a process that hangs, by SIGSTOP; SIGCONT wakes it"},
        {"quit", S::kEnd, {}, "end when what was sent has been taken"},
    };
}

std::string usage(const Argument& argument) {
    std::string shown = argument.shown;
    const Kind kind = argument.kind;
    if (kind == Kind::kWithin) shown = "within " + shown;
    if (kind == Kind::kIds || kind == Kind::kPattern || kind == Kind::kAnyEvent ||
        kind == Kind::kAnyAnswer) {
        shown += "…";
    }
    return argument.optional ? "[" + shown + "]" : shown;
}

}  // namespace

const std::vector<EmulatorCommand>& emulatorCommands() {
    static const std::vector<EmulatorCommand> commands = makeCommands();
    return commands;
}

const char* sectionTitle(Section section) {
    switch (section) {
        case Section::kEvents:
            return "Events";
        case Section::kAnswers:
            return "Answers";
        case Section::kRequests:
            return "Requests";
        case Section::kFlow:
            return "Flow";
        case Section::kWorld:
            return "The world";
        case Section::kClients:
            return "Clients";
        case Section::kEnd:
            return "The emulator itself";
    }
    return "";
}

std::string usage(const EmulatorCommand& command) {
    std::string line = command.name;
    for (const Argument& argument : command.arguments)
        line += " " + usage(argument);
    return line;
}

std::string emulatorHelp() {
    constexpr size_t kColumn = 36;
    std::string help;
    const EmulatorCommand* previous = nullptr;
    for (const EmulatorCommand& command : emulatorCommands()) {
        if (previous == nullptr || previous->section != command.section) {
            help += (previous == nullptr ? "" : "\n") + std::string(sectionTitle(command.section)) +
                    ":\n";
        }
        previous = &command;
        const std::string shown = "  " + usage(command);
        // The ellipsis is three bytes and one column.
        const auto wide = std::count(shown.begin(), shown.end(), '\xE2');
        const size_t columns = shown.size() - 2 * static_cast<size_t>(wide);
        help += shown;
        if (columns < kColumn) {
            help.append(kColumn - columns, ' ');
        } else {
            help += "\n" + std::string(kColumn, ' ');
        }
        help += std::string(command.help) + "\n";
    }
    return help;
}

}  // namespace tool

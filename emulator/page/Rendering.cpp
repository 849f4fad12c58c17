#include "emulator/page/Rendering.h"

#include <algorithm>
#include <map>

#include "protocol/Frame.h"
#include "recording/Row.h"
#include "tool/EmulatorCommands.h"

namespace emulator::page {
namespace {

// How much of one argument a page receives: characters of a text, or elements of an array.
constexpr size_t kMaxText = 4096;
constexpr size_t kMaxElements = 64;

Json cut(Json values) {
    for (const auto& [name, value] : values.items()) {
        if (value.is_string() && value.get_ref<const std::string&>().size() > kMaxText) {
            value = value.get_ref<const std::string&>().substr(0, kMaxText) + "…";
        } else if (value.is_array() && value.size() > kMaxElements) {
            value.erase(value.begin() + kMaxElements, value.end());
        }
    }
    return values;
}

// Cuts a request that has just come and one of a recording in the same way.
Json cutRequest(Json fields) {
    for (const char* values : {"arguments", "answer"})
        fields[values] = cut(std::move(fields[values]));
    return fields;
}

Json shown(const RequestCame& came) {
    return cutRequest(emulator::shown(came.request, *came.item, came.asker, came.reply, came.rule));
}

Json shown(const AnswerLeft& left) {
    return {{"settled", left.about}, {"took", left.took.count()}};
}

Json shown(const EventSent& sent) {
    Json fields = cut(sent.event.shown);
    fields["command"] = sent.event.command.substr(0, kMaxText);
    return fields;
}

// Returns the commands with which a user would set this rule.
Json commandsOf(const Target& target, const Rule& rule) {
    Json commands = Json::array();
    const auto add = [&](const std::string& name, const std::string& value = "") {
        commands.push_back(name + " " + target.name() + (value.empty() ? "" : " " + value));
    };
    if (rule.instead == Rule::Instead::kSilence) add("silent");
    if (rule.instead == Rule::Instead::kNoReply) add("no-reply");
    if (rule.instead == Rule::Instead::kWrongClass) add("mistype");
    if (rule.result) add("answer", std::to_string(*rule.result));
    if (rule.bytes) {
        const size_t told = std::min<size_t>(rule.bytes->size(), 64);
        add("answer", "bytes " + tool::toHex(rule.bytes->data(), told) +
                          (told < rule.bytes->size() ? "…" : ""));
    }
    if (rule.delayMs > 0) add("delay", std::to_string(rule.delayMs));
    return commands;
}

Json departures(const Answers& answers) {
    Json list = Json::array();
    const auto add = [&](const Target& target, const Rule& rule, bool once) {
        const Json commands = commandsOf(target, rule);
        if (commands.empty()) return;
        list.push_back({{"target", target.name()}, {"commands", commands}, {"once", once}});
    };
    for (const auto& [target, rule] : answers.everyAlways())
        add(target, rule, false);
    for (const auto& [target, rules] : answers.everyOnce()) {
        for (const Rule& rule : rules)
            add(target, rule, true);
    }
    return list;
}

const char* kindName(tool::Kind kind) {
    using tool::Kind;
    switch (kind) {
        case Kind::kInteger:
            return "integer";
        case Kind::kId:
        case Kind::kCount:
        case Kind::kMilliseconds:
        case Kind::kProcess:
            return "count";
        case Kind::kBytes:
            return "bytes";
        case Kind::kOperation:
            return "operation";
        case Kind::kKeyword:
            return "keyword";
        default:
            return "text";
    }
}

}  // namespace

Json shown(const Happening& happening) {
    Json fields = {{"n", happening.number}, {"t", happening.time.count()}};
    fields.update(std::visit([](const auto& what) { return shown(what); }, happening.what));
    return fields;
}

Json shown(const recording::Timeline& timeline, const recording::Timeline::Entry& entry,
           uint32_t process) {
    Json fields = {{"t", entry.wall / 1000}};
    if (entry.size > accessory::kMaxContent) {
        fields["record"] = "message";
        fields["bytes"] = entry.size;
        return fields;
    }
    auto row = recording::rowOf(timeline, entry);
    if (!row) return nullptr;
    const bool request = row->fields.contains("request");
    fields.update(request ? cutRequest(std::move(row->fields)) : cut(std::move(row->fields)));
    if (request) fields["pid"] = process;
    if (entry.other) fields["took"] = timeline.duration(entry) / 1000;
    return fields;
}

Json situation(Service& service) {
    Json now;
    service.change([&](World& world) {
        now = {{"accessories", world.ids}, {"version", world.version}};
    });
    service.changeAnswers([&](Answers& answers) { now["departures"] = departures(answers); });
    std::map<pid_t, bool> listens;
    for (const auto& connection : service.connections())
        listens[connection.process] = listens[connection.process] || connection.listens;
    now["clients"] = Json::array();
    for (const auto& [process, listening] : listens)
        now["clients"].push_back({{"pid", process}, {"listens", listening}});
    return now;
}

Json vocabulary() {
    Json commands = Json::array();
    for (const tool::EmulatorCommand& command : tool::emulatorCommands()) {
        Json arguments = Json::array();
        for (const tool::Argument& argument : command.arguments) {
            arguments.push_back({{"name", argument.name},
                                 {"kind", kindName(argument.kind)},
                                 {"shown", argument.shown},
                                 {"optional", argument.optional}});
        }
        commands.push_back({{"name", command.name},
                            {"section", tool::sectionTitle(command.section)},
                            {"usage", tool::usage(command)},
                            {"help", command.help},
                            {"arguments", arguments}});
    }
    Json operations = Json::array();
    for (const std::string& name : operationNames()) {
        const Operation& operation = *findOperation(name);
        operations.push_back({{"name", name}, {"accessory", concernsAccessory(operation)}});
    }
    return {{"commands", commands}, {"operations", operations}};
}

}  // namespace emulator::page

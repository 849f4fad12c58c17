#include <algorithm>
#include <ctime>

#include "mirvoctl/Recordings.h"
#include "tool/EventTable.h"

namespace mirvoctl {
namespace {

using accessory::FrameKind;
using recording::Decoded;
using recording::Timeline;

// RFC 3339 with nanoseconds, in UTC.
std::string wallTime(uint64_t nanoseconds) {
    const auto seconds = static_cast<time_t>(nanoseconds / 1'000'000'000);
    tm parts = {};
    gmtime_r(&seconds, &parts);
    char date[32];
    strftime(date, sizeof(date), "%Y-%m-%dT%H:%M:%S", &parts);
    char all[64];
    snprintf(all, sizeof(all), "%s.%09dZ", date, static_cast<int>(nanoseconds % 1'000'000'000));
    return all;
}

// One line, in words and as JSON.
struct Line {
    std::string text;
    Json fields = Json::object();
    std::optional<uint32_t> accessory;
    std::string name;
    bool failed = false;
};

Line requestLine(const Timeline& timeline, const Timeline::Entry& entry) {
    const Decoded decoded = timeline.decode(entry);
    const auto answer = timeline.answerTo(entry);
    Line line;
    line.accessory = decoded.accessory;
    line.name = decoded.name;
    line.failed = timeline.failed(entry);
    line.text = shown(decoded) + " ->";
    line.text += !answer ? " ?" : answer->contains("noReply") ? " no-reply" : tool::pairs(*answer);
    line.fields["request"] = decoded.name;
    if (decoded.accessory) line.fields["accessory"] = *decoded.accessory;
    line.fields["arguments"] = decoded.arguments;
    line.fields["answer"] = answer.value_or(Json());
    return line;
}

Line eventLine(const Timeline& timeline, const Timeline::Entry& entry) {
    const Decoded decoded = timeline.decode(entry);
    const tool::EventInfo* event = tool::findEvent(decoded.name);
    Line line;
    line.accessory = decoded.accessory;
    line.name = decoded.name;
    line.text = "> " + commandOf(decoded);
    line.fields["event"] = event == nullptr ? decoded.name : event->name;
    if (decoded.accessory) line.fields["accessory"] = *decoded.accessory;
    line.fields.update(decoded.arguments);
    line.fields["command"] = commandOf(decoded);
    return line;
}

// What is no message of the service's.
std::optional<Line> otherLine(const Timeline& timeline, const Timeline::Entry& entry) {
    const recording::Record record = timeline.record(entry);
    recording::Beginning beginning;
    Line line;
    const auto tell = [&](const char* what, const Json& fields) {
        line.name = what;
        line.text = what + tool::pairs(fields);
        line.fields["record"] = what;
        line.fields.update(fields);
        return line;
    };
    const uint32_t binding = entry.header.binding;
    const uint32_t listener = entry.header.listener;
    switch (entry.kind()) {
        case FrameKind::kBegin:
            if (!readBeginning(record, beginning)) return std::nullopt;
            return tell("recording", {{"program", beginning.program},
                                      {"process", beginning.process},
                                      {"file", beginning.file}});
        case FrameKind::kBound:
            return tell("bound", {{"binding", binding}});
        case FrameKind::kNotBound:
            return tell("not-bound", Json::object());
        case FrameKind::kUnbound:
            return tell("unbound", {{"binding", binding}});
        case FrameKind::kListenerSet:
            return tell("listener-set", {{"binding", binding}, {"listener", listener}});
        case FrameKind::kListenerRemoved:
            return tell("listener-removed", {{"binding", binding}, {"listener", listener}});
        case FrameKind::kStatus:
            if (isLoss(record)) return tell("lost", {{"binding", binding}});
            return tell("status", {{"binding", binding}, {"status", statusOf(record)}});
        case FrameKind::kGap:
            return tell("gap", {{"missing", missingRecords(record)}});
        default:
            return std::nullopt;
    }
}

std::optional<Line> lineOf(const Timeline& timeline, const Timeline::Entry& entry) {
    if (entry.kind() == FrameKind::kRequest) return requestLine(timeline, entry);
    if (entry.kind() == FrameKind::kNotify) return eventLine(timeline, entry);
    return otherLine(timeline, entry);
}

template <typename Values, typename Value>
bool has(const Values& values, const Value& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

bool isWanted(const RecordingOptions& options, const Timeline::Entry& entry, const Line& line,
              uint64_t time, uint64_t duration) {
    constexpr uint64_t kMillisecond = 1'000'000;
    if (options.failed && !line.failed) return false;
    if (!options.names.empty() && !has(options.names, line.name)) return false;
    if (!options.accessories.empty() &&
        (!line.accessory || !has(options.accessories, *line.accessory))) {
        return false;
    }
    if (options.thread && entry.header.thread != *options.thread) return false;
    if (options.slower && duration < *options.slower * kMillisecond) return false;
    if (options.from && time < *options.from * kMillisecond) return false;
    return !options.to || time <= *options.to * kMillisecond;
}

}  // namespace

Outcome showRecording(Context& context, Arguments& arguments) {
    const RecordingOptions& options = arguments.recording;
    const Timeline timeline = load(options.file);
    const Output& output = context.output;
    size_t lines = 0;
    for (const Timeline::Entry& entry : timeline.entries()) {
        if (output.standard().failed()) break;
        auto line = lineOf(timeline, entry);
        if (!line) continue;
        const uint64_t time = timeline.since(entry);
        const uint64_t duration =
            entry.other ? timeline.entries()[*entry.other].header.duration : 0;
        if (!isWanted(options, entry, *line, time, duration)) continue;
        ++lines;
        if (!output.json) {
            if (duration > 0) line->text += " (" + milliseconds(duration) + " ms)";
            output.standard().writeLine("[" + milliseconds(time) + "] " + line->text);
            continue;
        }
        Json fields = {{"time", time / 1'000'000}, {"wall", wallTime(entry.wall)}};
        if (entry.header.thread != 0) fields["thread"] = entry.header.thread;
        if (entry.header.binding != 0) fields["binding"] = entry.header.binding;
        fields.update(line->fields);
        if (entry.other) fields["duration"] = duration;
        output.standard().writeLine(tool::dump(fields));
    }
    if (timeline.torn()) fprintf(stderr, "mirvoctl: the end of %s is torn\n", options.file.c_str());
    Outcome outcome;
    outcome.data = {{"lines", lines}, {"torn", timeline.torn()}};
    return outcome;
}

}  // namespace mirvoctl

#include "recording/Row.h"

#include "tool/EventTable.h"
#include "tool/Lines.h"

namespace recording {
namespace {

Row requestRow(const Timeline& timeline, const Timeline::Entry& entry) {
    const Decoded decoded = timeline.decode(entry);
    const auto answer = timeline.answerTo(entry);
    Row row;
    row.accessory = decoded.accessory;
    row.name = decoded.name;
    row.failed = timeline.failed(entry);
    row.text = shown(decoded) + " ->";
    row.text += !answer ? " ?" : answer->contains("noReply") ? " no-reply" : tool::pairs(*answer);
    row.fields["request"] = decoded.name;
    if (decoded.accessory) row.fields["accessory"] = *decoded.accessory;
    row.fields["arguments"] = decoded.arguments;
    row.fields["answer"] = answer.value_or(Json());
    return row;
}

Row eventRow(const Timeline& timeline, const Timeline::Entry& entry) {
    const Decoded decoded = timeline.decode(entry);
    Row row;
    row.accessory = decoded.accessory;
    row.name = decoded.name;
    row.text = "> " + commandOf(decoded);
    row.fields = eventFields(decoded);
    row.fields["command"] = commandOf(decoded);
    return row;
}

// What is no message of the service's.
std::optional<Row> otherRow(const Timeline& timeline, const Timeline::Entry& entry) {
    const Record record = timeline.record(entry);
    Beginning beginning;
    Row row;
    const auto tell = [&](const char* what, const Json& fields) {
        row.name = what;
        row.text = what + tool::pairs(fields);
        row.fields["record"] = what;
        row.fields.update(fields);
        return row;
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

}  // namespace

Json eventFields(const Decoded& notification) {
    const tool::EventInfo* event = tool::findEvent(notification.name);
    Json fields = {{"event", event == nullptr ? notification.name : event->name}};
    if (notification.accessory) fields["accessory"] = *notification.accessory;
    fields.update(notification.arguments);
    return fields;
}

std::optional<Row> rowOf(const Timeline& timeline, const Timeline::Entry& entry) {
    if (entry.kind() == FrameKind::kRequest) return requestRow(timeline, entry);
    if (entry.kind() == FrameKind::kNotify) return eventRow(timeline, entry);
    return otherRow(timeline, entry);
}

}  // namespace recording

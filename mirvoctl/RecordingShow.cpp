#include <algorithm>
#include <ctime>

#include "mirvoctl/Recordings.h"
#include "recording/Row.h"

namespace mirvoctl {
namespace {

using recording::Row;
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

template <typename Values, typename Value>
bool has(const Values& values, const Value& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

bool isWanted(const RecordingOptions& options, const Timeline::Entry& entry, const Row& row,
              uint64_t time, uint64_t duration) {
    constexpr uint64_t kMillisecond = 1'000'000;
    if (options.failed && !row.failed) return false;
    if (!options.names.empty() && !has(options.names, row.name)) return false;
    if (!options.accessories.empty() &&
        (!row.accessory || !has(options.accessories, *row.accessory))) {
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
        auto row = rowOf(timeline, entry);
        if (!row) continue;
        const uint64_t time = timeline.since(entry);
        const uint64_t duration = timeline.duration(entry);
        if (!isWanted(options, entry, *row, time, duration)) continue;
        ++lines;
        if (!output.json) {
            if (duration > 0) row->text += " (" + milliseconds(duration) + " ms)";
            output.standard().writeLine("[" + milliseconds(time) + "] " + row->text);
            continue;
        }
        Json fields = {{"time", time / 1'000'000}, {"wall", wallTime(entry.wall)}};
        if (entry.header.thread != 0) fields["thread"] = entry.header.thread;
        if (entry.header.binding != 0) fields["binding"] = entry.header.binding;
        fields.update(row->fields);
        if (entry.other) fields["duration"] = duration;
        output.standard().writeLine(tool::dump(fields));
    }
    if (timeline.torn()) fprintf(stderr, "mirvoctl: the end of %s is torn\n", options.file.c_str());
    Outcome outcome;
    outcome.data = {{"lines", lines}, {"torn", timeline.torn()}};
    return outcome;
}

}  // namespace mirvoctl

#include "tests/recorder/Lines.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>

#include "recording/Decoder.h"
#include "recording/Reader.h"

namespace recorder_test {
namespace {

using recording::FrameKind;
using recording::Record;

const char* nameOf(FrameKind kind) {
    switch (kind) {
        case FrameKind::kRequest:
            return "request";
        case FrameKind::kReply:
            return "reply";
        case FrameKind::kNoReply:
            return "no-reply";
        case FrameKind::kNotify:
            return "notify";
        case FrameKind::kBegin:
            return "begin";
        case FrameKind::kBound:
            return "bound";
        case FrameKind::kNotBound:
            return "not-bound";
        case FrameKind::kUnbound:
            return "unbound";
        case FrameKind::kListenerSet:
            return "listener-set";
        case FrameKind::kListenerRemoved:
            return "listener-removed";
        case FrameKind::kStatus:
            return "status";
        case FrameKind::kEnded:
            return "ended";
        case FrameKind::kGap:
            return "gap";
        default:
            return "?";
    }
}

std::string textOf(const Record& record) {
    const FrameKind kind = record.frame.kind;
    std::string text = std::to_string(record.header.binding) + " " + nameOf(kind);
    recording::Beginning beginning;
    if (readBeginning(record, beginning)) return text + " " + std::to_string(beginning.file);
    if (kind == FrameKind::kStatus) return text + " " + std::to_string(statusOf(record));
    if (kind == FrameKind::kGap) return text + " " + std::to_string(missingRecords(record));
    if (kind >= FrameKind::kBegin || kind == FrameKind::kNoReply) return text;
    const recording::Decoded decoded = decode(record);
    text += " " + decoded.name;
    if (decoded.accessory) text += "@" + std::to_string(*decoded.accessory);
    for (const auto& [name, value] : decoded.arguments.items())
        text += " " + name + "=" + value.dump();
    if (record.header.leftOut != 0) text += " without " + std::to_string(record.header.leftOut);
    return text + (decoded.whole ? "" : " ...");
}

// Whether its end is torn.
template <typename Each>
bool forEach(const std::string& path, Each each) {
    std::ifstream file(path, std::ios::binary);
    recording::Reader reader(file);
    Record record;
    while (reader.next(record))
        each(record);
    return reader.torn();
}

}  // namespace

std::vector<std::string> lines(const std::string& path) {
    std::vector<std::string> all;
    if (forEach(path, [&](const Record& record) { all.push_back(textOf(record)); })) {
        all.emplace_back("torn");
    }
    return all;
}

size_t count(const std::vector<std::string>& all, const std::string& text) {
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const std::string& line) {
        return line.compare(line.find(' ') + 1, text.size(), text) == 0;
    }));
}

std::string faults(const std::string& path) {
    std::string found;
    std::map<uint32_t, Record> open;
    forEach(path, [&](const Record& record) {
        const FrameKind kind = record.frame.kind;
        const uint32_t sequence = record.frame.sequence;
        if (sequence == 0) return;
        if (kind == FrameKind::kRequest || kind == FrameKind::kNotify ||
            kind == FrameKind::kStatus) {
            open[sequence] = record;
            return;
        }
        const auto begun = open.find(sequence);
        if (begun == open.end()) {
            found += textOf(record) + " has no beginning\n";
            return;
        }
        const auto& first = begun->second.header;
        const auto& last = record.header;
        // Its beginning was looked at before the record of it was made, or just after.
        const uint64_t between = last.monotonic - first.monotonic;
        if (first.thread != last.thread || first.binding != last.binding ||
            first.listener != last.listener || last.duration == 0 ||
            last.duration > between + 1'000'000'000 || last.monotonic < first.monotonic ||
            (begun->second.frame.kind == FrameKind::kRequest) == (kind == FrameKind::kEnded)) {
            found += textOf(record) + " does not belong to " + textOf(begun->second) + "\n";
        }
        open.erase(begun);
    });
    return found;
}

LinkOrder::LinkOrder() {
    const char* before = getenv("ASAN_OPTIONS");
    mBefore = before == nullptr ? "" : before;
    setenv("ASAN_OPTIONS", (mBefore + ":verify_asan_link_order=0").c_str(), 1);
}

LinkOrder::~LinkOrder() {
    setenv("ASAN_OPTIONS", mBefore.c_str(), 1);
}

}  // namespace recorder_test

#include "recording/Timeline.h"

#include <algorithm>
#include <fstream>
#include <map>

#include "protocol/ServiceFramework.h"
#include "recording/Reader.h"
#include "tool/Lines.h"

namespace recording {
namespace {

// A thread may be interrupted before it adds its record. Times that go back further are damaged.
constexpr uint64_t kDisorder = 10'000'000'000;

}  // namespace

Timeline::Timeline(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Malformed("the file cannot be read");
    read(file);
}

Timeline::Timeline(std::istream& file) {
    read(file);
}

void Timeline::read(std::istream& file) {
    Reader reader(file);
    Record record;
    // By sequence. Each process counts anew, so a file with several has some numbers twice.
    std::map<uint32_t, size_t> open;
    uint32_t process = 0;
    while (reader.next(record)) {
        Beginning beginning;
        if (readBeginning(record, beginning)) {
            if (beginning.process != process || beginning.file == 0) {
                open.clear();
                mProcesses.insert(mEntries.size());
            }
            process = beginning.process;
            mLeftOut |= beginning.leftOut;
        }
        add(record);
        const uint32_t sequence = record.frame.sequence;
        switch (record.frame.kind) {
            case FrameKind::kRequest:
            case FrameKind::kNotify:
            case FrameKind::kStatus:
                open[sequence] = mEntries.size() - 1;
                break;
            case FrameKind::kReply:
            case FrameKind::kNoReply:
            case FrameKind::kEnded:
                if (const auto first = open.find(sequence); first != open.end()) {
                    mEntries.back().other = first->second;
                    mEntries[first->second].other = mEntries.size() - 1;
                    open.erase(first);
                }
                break;
            case FrameKind::kGap:
                mMissing += missingRecords(record);
                break;
            default:
                break;
        }
    }
    mTorn = reader.torn();
    if (mEntries.empty()) throw Malformed("there is nothing in it");
}

void Timeline::add(const Record& record) {
    mEntries.push_back(
        {record.header, record.frame, record.wall, mContents.size(), record.size, std::nullopt});
    mContents.insert(mContents.end(), record.content, record.content + record.size);
}

Record Timeline::record(const Entry& entry) const {
    return {entry.header, entry.frame, entry.wall, mContents.data() + entry.place, entry.size};
}

uint64_t Timeline::since(const Entry& entry) const {
    // Threads add their records at the same time, so the time of a later record may be a moment
    // before that of the first.
    const uint64_t first = mEntries.front().header.monotonic;
    return entry.header.monotonic - std::min(entry.header.monotonic, first);
}

uint64_t Timeline::duration(const Entry& entry) const {
    return entry.other ? mEntries[*entry.other].header.duration : 0;
}

std::optional<Json> Timeline::answerTo(const Entry& request) const {
    if (!request.other) return std::nullopt;
    const Entry& answer = mEntries[*request.other];
    if (answer.kind() == FrameKind::kNoReply) return recording::answerTo(decode(request), nullptr);
    const Decoded reply = decode(answer);
    return recording::answerTo(decode(request), &reply);
}

bool Timeline::failed(const Entry& request) const {
    const auto answer = answerTo(request);
    return answer && (answer->contains("noReply") || answer->contains("class") ||
                      answer->value("result", 0) != 0);
}

std::string Timeline::whyNotReplayable() const {
    Beginning beginning;
    if (!readBeginning(record(mEntries.front()), beginning) || beginning.file != 0) {
        return "its beginning is missing; \"cat FILE.old FILE\" joins what there is of both files";
    }
    if (mProcesses.size() > 1) return "there is more than one process in it";
    if (mLeftOut != 0) return "it was recorded without all contents";
    uint64_t latest = 0;
    for (const Entry& entry : mEntries) {
        // These are repeated, with their times, where another file begins.
        if (entry.kind() == FrameKind::kBound || entry.kind() == FrameKind::kListenerSet) continue;
        // A replay would wait for years.
        const uint64_t time = entry.header.monotonic;
        if (latest > kDisorder && time < latest - kDisorder) {
            return "its times go back, so it is damaged";
        }
        latest = std::max(latest, time);
    }
    return {};
}

Json answerTo(const Decoded& request, const Decoded* reply) {
    Json answer = Json::object();
    if (reply == nullptr) {
        answer["noReply"] = true;
        return answer;
    }
    answer = reply->arguments;
    const auto* expected = request.usage == nullptr
                               ? nullptr
                               : accessory::findLayout(FrameKind::kReply, request.usage->reply);
    if (expected != nullptr && expected->name != "MVSReply" + reply->name) {
        answer["class"] = reply->name;
    }
    return answer;
}

std::string shown(const Decoded& request) {
    std::string line = request.name;
    if (request.accessory) line += " accessory=" + std::to_string(*request.accessory);
    return line + tool::pairs(request.arguments);
}

std::string commandOf(const Decoded& notification) {
    std::string line = notification.name;
    if (notification.accessory) line += " " + std::to_string(*notification.accessory);
    for (const auto& [name, value] : notification.arguments.items()) {
        const std::string word = value.is_string() ? value.get<std::string>() : tool::dump(value);
        if (!word.empty()) line += " " + word;
    }
    return line;
}

bool isLoss(const Record& record) {
    return record.frame.kind == FrameKind::kStatus &&
           statusOf(record) == accessory::ServiceStatusNotify::kServiceLost;
}

}  // namespace recording

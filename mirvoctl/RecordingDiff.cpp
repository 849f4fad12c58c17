#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "mirvoctl/Recordings.h"
#include "mirvoctl/Sequences.h"
#include "recording/Comparison.h"
#include "recording/Lives.h"

namespace mirvoctl {
namespace {

using accessory::FrameKind;
using recording::Comparison;
using recording::Decoded;
using recording::Timeline;

// Something that was asked, with the answer, or an event.
struct Happening {
    std::string said;    // what is compared first
    std::string answer;  // of what was asked
    uint64_t time;
    std::string line() const {
        return "[" + milliseconds(time) + "] " + said + (answer.empty() ? "" : " ->" + answer);
    }
};

// What happened one after the other: the requests of a thread to one accessory, or the events of
// one accessory. Threads have other numbers in each run, so they are counted in the order of their
// first requests. What a listener asks in its callbacks counts as one thread, and events have none,
// since the framework chooses the thread.
struct Key {
    std::optional<uint32_t> accessory;
    size_t thread;  // 0: events
    bool operator<(const Key& other) const {
        return std::tie(accessory, thread) < std::tie(other.accessory, other.thread);
    }
    std::string title() const {
        const std::string whom =
            accessory ? "accessory " + std::to_string(*accessory) : "the service";
        return whom + (thread == 0 ? ", events" : ", thread " + std::to_string(thread));
    }
};
using Streams = std::map<Key, std::vector<Happening>>;

Happening requestOf(const Timeline& timeline, const Timeline::Entry& entry,
                    const Comparison& comparison) {
    const auto answer = timeline.answerTo(entry);
    return {shown(comparison(timeline.decode(entry))),
            !answer                       ? " ?"
            : answer->contains("noReply") ? " no-reply"
                                          : tool::pairs(comparison(*answer)),
            timeline.since(entry)};
}

bool hasReply(const Timeline& timeline, size_t request) {
    const auto& other = timeline.entries()[request].other;
    return other && timeline.entries()[*other].kind() == FrameKind::kReply;
}

// The requests of a life without those that got no reply because the service was lost. How many
// these are, until the application knows of the loss, is chance.
std::vector<size_t> requestsOf(const Timeline& timeline, const recording::Life& life) {
    if (!life.loss) return life.requests;
    std::vector<size_t> requests;
    std::set<uint32_t> replied;  // the bindings that had a reply afterwards
    for (auto place = life.requests.rbegin(); place != life.requests.rend(); ++place) {
        const uint32_t binding = timeline.entries()[*place].header.binding;
        if (hasReply(timeline, *place)) replied.insert(binding);
        if (replied.count(binding) > 0) requests.push_back(*place);
    }
    return requests;
}

// Who made a request: a listener in its callback, which the framework calls on any of its threads,
// or else a thread.
struct Caller {
    bool listens;
    uint32_t number;
    bool operator<(const Caller& other) const {
        return std::tie(listens, number) < std::tie(other.listens, other.number);
    }
};

// By the place of the request.
std::map<size_t, Caller> callersOf(const Timeline& timeline) {
    std::map<size_t, Caller> callers;
    const auto& entries = timeline.entries();
    std::map<uint32_t, std::vector<size_t>> called;  // by thread, the callbacks that it is in
    for (size_t place = 0; place < entries.size(); ++place) {
        const Timeline::Entry& entry = entries[place];
        auto& callbacks = called[entry.header.thread];
        switch (entry.kind()) {
            case FrameKind::kNotify:
            case FrameKind::kStatus:
                // The end of the last one may be missing, in a gap or behind the recording's.
                while (!callbacks.empty() && !entries[callbacks.back()].other)
                    callbacks.pop_back();
                callbacks.push_back(place);
                break;
            case FrameKind::kEnded:
                if (!callbacks.empty() && entry.other == callbacks.back()) callbacks.pop_back();
                break;
            case FrameKind::kRequest:
                callers[place] = callbacks.empty()
                                     ? Caller{false, entry.header.thread}
                                     : Caller{true, entries[callbacks.back()].header.listener};
                break;
            default:
                break;
        }
    }
    return callers;
}

Streams streamsOf(const Timeline& timeline, const Comparison& comparison) {
    const std::vector<recording::Life> lives = recording::livesOf(timeline);
    const auto& entries = timeline.entries();
    using Accessory = std::optional<uint32_t>;
    std::map<size_t, Caller> callers = callersOf(timeline);
    std::map<std::pair<Accessory, Caller>, size_t> threads;
    std::map<Accessory, size_t> threadCounts;
    Streams streams;
    std::vector<size_t> requests;
    for (const recording::Life& life : lives) {
        const std::vector<size_t> ofLife = requestsOf(timeline, life);
        requests.insert(requests.end(), ofLife.begin(), ofLife.end());
    }
    std::sort(requests.begin(), requests.end());
    for (const size_t place : requests) {
        const Timeline::Entry& entry = entries[place];
        const Accessory accessory = timeline.decode(entry).accessory;
        size_t& number = threads[{accessory, callers[place]}];
        if (number == 0) number = ++threadCounts[accessory];
        streams[{accessory, number}].push_back(requestOf(timeline, entry, comparison));
    }
    // Which of its listeners an application removes before an event reaches it is chance. So it
    // counts whether any had it.
    for (const recording::Life& life : lives) {
        for (const size_t place : life.events) {
            const Decoded decoded = comparison(timeline.decode(entries[place]));
            streams[{decoded.accessory, 0}].push_back(
                {"> " + commandOf(decoded), "", timeline.since(entries[place])});
        }
        // Who has had no answer may let go of the service before it is told of the loss.
        const bool answered =
            std::any_of(life.requests.begin(), life.requests.end(),
                        [&](const size_t place) { return hasReply(timeline, place); });
        if (!life.loss || !(answered || !life.events.empty())) continue;
        streams[{std::nullopt, 0}].push_back({"lost", "", timeline.since(entries[*life.loss])});
    }
    return streams;
}

struct Difference {
    std::string kind;  // "missing", "added" or "answer"
    const Happening* first;
    const Happening* second;
};

std::vector<Difference> differencesOf(const std::vector<Happening>& first,
                                      const std::vector<Happening>& second) {
    std::vector<Difference> all;
    auto pairs = Alignment(first.size(), second.size(), [&](size_t i, size_t j) {
                     return first[i].said == second[j].said;
                 }).pairs();
    pairs.emplace_back(first.size(), second.size());
    size_t i = 0;
    size_t j = 0;
    for (const auto& [nextI, nextJ] : pairs) {
        while (i < nextI)
            all.push_back({"missing", &first[i++], nullptr});
        while (j < nextJ)
            all.push_back({"added", nullptr, &second[j++]});
        if (i < first.size() && j < second.size()) {
            if (first[i].answer != second[j].answer) {
                all.push_back({"answer", &first[i], &second[j]});
            }
            ++i;
            ++j;
        }
    }
    return all;
}

void print(const Output& output, const Key& key, const Difference& difference, bool isFirst) {
    tool::StandardOutput& standard = output.standard();
    if (!output.json) {
        if (isFirst) standard.writeLine(key.title() + ":");
        if (difference.first != nullptr) standard.writeLine("- " + difference.first->line());
        if (difference.second != nullptr) standard.writeLine("+ " + difference.second->line());
        return;
    }
    const auto orNull = [](const Happening* happening) {
        if (happening == nullptr) return Json();
        Json fields = {{"time", happening->time / 1'000'000}, {"what", happening->said}};
        if (!happening->answer.empty()) fields["answer"] = happening->answer.substr(1);
        return fields;
    };
    Json fields = {{"difference", difference.kind}};
    if (key.thread != 0) fields["thread"] = key.thread;
    if (key.accessory) fields["accessory"] = *key.accessory;
    fields["first"] = orNull(difference.first);
    fields["second"] = orNull(difference.second);
    standard.writeLine(tool::dump(fields));
}

}  // namespace

Outcome compareRecordings(Context& context, Arguments& arguments) {
    const RecordingOptions& options = arguments.recording;
    const Comparison comparison(options.ignored);
    Streams first = streamsOf(load(options.file), comparison);
    Streams second = streamsOf(load(options.second), comparison);
    for (const auto& [key, happenings] : first)
        second[key];
    size_t count = 0;
    for (const auto& [key, happenings] : second) {
        bool isFirst = true;
        for (const Difference& difference : differencesOf(first[key], happenings)) {
            print(context.output, key, difference, isFirst);
            isFirst = false;
            ++count;
        }
    }
    Outcome outcome;
    outcome.data = {{"differences", count}};
    if (count > 0) {
        outcome.exit = kRefused;
        outcome.error = "the recordings differ in " + std::to_string(count) +
                        (count == 1 ? " place" : " places");
    }
    return outcome;
}

}  // namespace mirvoctl

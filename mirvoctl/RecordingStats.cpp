#include <algorithm>
#include <initializer_list>
#include <map>

#include "mirvoctl/Recordings.h"
#include "recording/Lives.h"

namespace mirvoctl {
namespace {

using accessory::FrameKind;
using recording::Timeline;

// How many of the longest callbacks are told.
constexpr size_t kLongest = 5;

struct Operation {
    size_t failures = 0;
    std::vector<uint64_t> durations;
    size_t unanswered = 0;  // when the recording ended

    // The least duration that no more than `share` of all exceed.
    uint64_t quantile(double share) const {
        if (durations.empty()) return 0;
        const auto count = static_cast<double>(durations.size());
        const auto rank = static_cast<size_t>(count * share + 0.999999);
        return durations[std::min(std::max<size_t>(rank, 1), durations.size()) - 1];
    }
};

struct Callback {
    std::string event;
    uint64_t time;
    uint64_t duration;
};

// From the first binding to the loss, or to the end of the recording.
struct Life {
    uint64_t begin;
    uint64_t end;
    bool lost;
};

struct Statistics {
    std::map<std::string, Operation> operations;
    std::vector<Callback> callbacks;
    std::vector<Life> lives;
    std::vector<std::pair<uint64_t, uint64_t>> gaps;  // when, and how many
};

Statistics statisticsOf(const Timeline& timeline) {
    Statistics all;
    for (const Timeline::Entry& entry : timeline.entries()) {
        const Timeline::Entry* end = entry.other ? &timeline.entries()[*entry.other] : nullptr;
        if (entry.kind() == FrameKind::kRequest) {
            Operation& operation = all.operations[timeline.decode(entry).name];
            if (timeline.failed(entry)) ++operation.failures;
            if (end == nullptr) {
                ++operation.unanswered;
            } else {
                operation.durations.push_back(end->header.duration);
            }
        } else if (entry.kind() == FrameKind::kNotify && end != nullptr) {
            all.callbacks.push_back(
                {commandOf(timeline.decode(entry)), timeline.since(entry), end->header.duration});
        } else if (entry.kind() == FrameKind::kGap) {
            all.gaps.emplace_back(timeline.since(entry), missingRecords(timeline.record(entry)));
        }
    }
    const auto timeOf = [&](size_t place) { return timeline.since(timeline.entries()[place]); };
    for (const recording::Life& life : recording::livesOf(timeline)) {
        const size_t end = life.loss.value_or(life.end);
        all.lives.push_back({timeOf(life.begin), timeOf(end), life.loss.has_value()});
    }
    for (auto& [name, operation] : all.operations)
        std::sort(operation.durations.begin(), operation.durations.end());
    std::stable_sort(all.callbacks.begin(), all.callbacks.end(),
                     [](const auto& a, const auto& b) { return a.duration > b.duration; });
    if (all.callbacks.size() > kLongest) all.callbacks.resize(kLongest);
    return all;
}

std::string asText(const Statistics& all) {
    std::string text;
    const auto addRow = [&](std::initializer_list<std::string> cells) {
        size_t width = 26;
        for (const std::string& cell : cells) {
            // The first column is flush left, the others are flush right.
            const std::string blanks(width - std::min(width, cell.size()), ' ');
            if (width == 26) {
                text.append(cell).append(blanks);
            } else {
                text.append(" ").append(blanks).append(cell);
            }
            width = 10;
        }
        text += "\n";
    };
    addRow({"operation", "count", "failed", "median/ms", "99 %/ms", "longest/ms"});
    for (const auto& [name, operation] : all.operations) {
        addRow({name, std::to_string(operation.durations.size() + operation.unanswered),
                std::to_string(operation.failures), milliseconds(operation.quantile(0.5)),
                milliseconds(operation.quantile(0.99)), milliseconds(operation.quantile(1))});
    }
    for (const Callback& callback : all.callbacks) {
        text += "callback of " + milliseconds(callback.duration) + " ms at " +
                milliseconds(callback.time) + " ms: " + callback.event + "\n";
    }
    for (const Life& life : all.lives) {
        text += "service from " + milliseconds(life.begin) + " ms to " + milliseconds(life.end) +
                (life.lost ? " ms, when it was lost\n" : " ms, the end of the recording\n");
    }
    for (const auto& [time, missing] : all.gaps) {
        text += "gap at " + milliseconds(time) + " ms: " + std::to_string(missing) +
                " records are missing\n";
    }
    return text;
}

Json asJson(const Statistics& all) {
    Json data = {{"operations", Json::array()},
                 {"callbacks", Json::array()},
                 {"lives", Json::array()},
                 {"gaps", Json::array()}};
    for (const auto& [name, operation] : all.operations) {
        data["operations"].push_back({{"name", name},
                                      {"count", operation.durations.size() + operation.unanswered},
                                      {"failures", operation.failures},
                                      {"median", operation.quantile(0.5)},
                                      {"percentile99", operation.quantile(0.99)},
                                      {"longest", operation.quantile(1)}});
    }
    for (const Callback& callback : all.callbacks) {
        data["callbacks"].push_back(
            {{"event", callback.event}, {"at", callback.time}, {"duration", callback.duration}});
    }
    for (const Life& life : all.lives)
        data["lives"].push_back({{"from", life.begin}, {"to", life.end}, {"lost", life.lost}});
    for (const auto& [time, missing] : all.gaps)
        data["gaps"].push_back({{"at", time}, {"missing", missing}});
    return data;
}

}  // namespace

Outcome showStatistics(Context&, Arguments& arguments) {
    const Statistics all = statisticsOf(load(arguments.recording.file));
    Outcome outcome;
    outcome.text = asText(all);
    outcome.data = asJson(all);
    return outcome;
}

}  // namespace mirvoctl

#include "recording/Lives.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <utility>

namespace recording {
namespace {

// Tells which notifications of one life are the same event. The service sends an event once to all
// listeners. So the first of several equal notifications is the same event for each listener, and
// so is the second. A listener that was set later begins to count where the others are at that
// moment.
class Events {
public:
    // Another file of the recording repeats which listeners there are.
    void listenerSet(uint32_t listener) { mBegun.try_emplace(listener, mCount); }

    // Whether no other listener has had this notification.
    bool isNew(uint32_t listener, const Record& record) {
        std::string content(reinterpret_cast<const char*>(record.content), record.size);
        Equal& equal = mEqual[{record.frame.type, std::move(content)}];
        const auto [seen, first] = equal.seen.try_emplace(listener, 0);
        if (first) {
            seen->second = static_cast<size_t>(
                std::lower_bound(equal.events.begin(), equal.events.end(), mBegun[listener]) -
                equal.events.begin());
        }
        if (++seen->second <= equal.events.size()) return false;
        equal.events.push_back(mCount++);
        return true;
    }

private:
    struct Equal {
        std::vector<size_t> events;  // their numbers
        std::map<uint32_t, size_t> seen;
    };
    std::map<std::pair<int32_t, std::string>, Equal> mEqual;
    std::map<uint32_t, size_t> mBegun;
    size_t mCount = 0;
};

// Finds the lives in the entries of a timeline, one after the other.
class Finder {
public:
    // `successors` are the places of bindings that were made to the next service before the record
    // of the loss.
    Finder(const Timeline& timeline, const std::set<size_t>& successors)
        : mTimeline(timeline), mSuccessors(successors) {
        for (size_t place = 0; place < timeline.entries().size(); ++place) {
            const Timeline::Entry& entry = timeline.entries()[place];
            const auto& other = entry.other;
            if (entry.kind() == FrameKind::kRequest && other &&
                timeline.entries()[*other].kind() == FrameKind::kReply) {
                mAnswered[{processAt(place), entry.header.binding}] = place;
            }
        }
    }

    // A successor that has not been known. It shows when the loss is added.
    std::optional<size_t> newSuccessor() const { return mNewSuccessor; }

    void add(size_t place) {
        const Timeline::Entry& entry = mTimeline.entries()[place];
        const Record record = mTimeline.record(entry);
        if (place > 0 && mTimeline.processes().count(place) > 0) {
            // Another process counts its bindings anew.
            endAt(place - 1);
            mLifeOf.clear();
            mListeners.clear();
        }
        switch (entry.kind()) {
            case FrameKind::kBound:
                lifeOf(entry, place);
                return;
            case FrameKind::kListenerSet:
                return addListener(lifeOf(entry, place), place, entry.header);
            case FrameKind::kListenerRemoved:
                mListeners[entry.header.binding].erase(entry.header.listener);
                return;
            case FrameKind::kRequest:
                return addRequest(lifeOf(entry, place).first, place);
            case FrameKind::kNotify:
                return addEvent(lifeOf(entry, place), place, record);
            case FrameKind::kStatus:
                if (isLoss(record)) addLoss(lifeOf(entry, place).first, place);
                return;
            default:
                return;
        }
    }

    std::vector<Life> take() {
        endAt(mTimeline.entries().size() - 1);
        std::vector<Life> lives;
        for (auto& [life, events] : mAll) {
            if (!life.loss || !life.requests.empty() || !life.events.empty()) {
                lives.push_back(std::move(life));
            } else if (!lives.empty()) {
                auto& late = lives.back().late;
                late.insert(late.end(), life.late.begin(), life.late.end());
            }
        }
        return lives;
    }

private:
    // A life, and what tells its events apart.
    using Found = std::pair<Life, Events>;

    // The life of the service that an entry's binding was made to. Any record may be the first of a
    // binding, since that of its making may have been lost in a gap.
    Found& lifeOf(const Timeline::Entry& entry, size_t place) {
        const auto [known, isNew] = mLifeOf.try_emplace(entry.header.binding, mAll.size());
        if (isNew) {
            mBegun[entry.header.binding] = place;
            if (!mRuns || mSuccessors.count(place) > 0) {
                mAll.emplace_back();
                mAll.back().first.begin = place;
                mRuns = true;
            }
            known->second = mAll.size() - 1;
            mAll.back().first.bindings.insert(entry.header.binding);
        }
        return mAll[known->second];
    }

    void endAt(size_t place) {
        if (mRuns) mAll.back().first.end = place;
        mRuns = false;
    }

    void addListener(Found& found, size_t place, const RecordHeader& header) {
        auto& [life, events] = found;
        events.listenerSet(header.listener);
        auto& listeners = mListeners[header.binding];
        if (listeners.empty() && !life.loss) life.channels.push_back(place);
        listeners.insert(header.listener);
    }

    static void addRequest(Life& life, size_t place) {
        (life.loss ? life.late : life.requests).push_back(place);
    }

    static void addEvent(Found& found, size_t place, const Record& record) {
        auto& [life, events] = found;
        if (!events.isNew(record.header.listener, record)) return;
        life.events.push_back(place);
        life.end = std::max(life.end, place);
    }

    // Every listener is told of the loss. The first of these records says when it was.
    void addLoss(Life& life, size_t place) {
        if (life.loss) return;
        life.loss = place;
        life.end = place;
        findSuccessor(life, place);
        for (const size_t request : life.requests) {
            if (life.answers(mTimeline, request))
                life.end = std::max(life.end, *mTimeline.entries()[request].other);
        }
        if (&life == &mAll.back().first) mRuns = false;
    }

    // The thread that is told of the loss may be late, and another may have bound to the next
    // service by then. Such a binding is known by an answer to what it is asked after the loss,
    // since a client of a service that is gone never gets one.
    void findSuccessor(const Life& life, size_t loss) {
        const uint32_t lost = mTimeline.entries()[loss].header.binding;
        for (const uint32_t binding : life.bindings) {
            const auto answered = mAnswered.find({processAt(loss), binding});
            if (answered == mAnswered.end() || answered->second < loss) continue;
            const size_t begun = mBegun[binding];
            if (begun > mBegun[lost])
                mNewSuccessor = std::min(begun, mNewSuccessor.value_or(begun));
        }
    }

    // Each process counts its bindings anew.
    size_t processAt(size_t place) const {
        const auto& processes = mTimeline.processes();
        return static_cast<size_t>(std::distance(processes.begin(), processes.upper_bound(place)));
    }

    const Timeline& mTimeline;
    const std::set<size_t>& mSuccessors;
    std::optional<size_t> mNewSuccessor;
    // By process and binding, the last request that was answered.
    std::map<std::pair<size_t, uint32_t>, size_t> mAnswered;
    std::vector<Found> mAll;
    std::map<uint32_t, size_t> mLifeOf;                 // by binding
    std::map<uint32_t, size_t> mBegun;                  // by binding, its first place
    std::map<uint32_t, std::set<uint32_t>> mListeners;  // by binding, those that it has
    bool mRuns = false;                                 // whether the last of them has not ended
};

}  // namespace

bool Life::answers(const Timeline& timeline, size_t request) const {
    const auto& other = timeline.entries()[request].other;
    if (!other) return false;
    return !loss || *other < *loss || timeline.entries()[*other].kind() == FrameKind::kReply;
}

std::vector<Life> livesOf(const Timeline& timeline) {
    std::set<size_t> successors;
    for (;;) {
        Finder finder(timeline, successors);
        for (size_t place = 0; place < timeline.entries().size() && !finder.newSuccessor(); ++place)
            finder.add(place);
        if (!finder.newSuccessor()) return finder.take();
        successors.insert(*finder.newSuccessor());
    }
}

}  // namespace recording

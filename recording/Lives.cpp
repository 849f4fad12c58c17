#include "recording/Lives.h"

#include <algorithm>
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
    void listenerSet(uint32_t listener) { mBegun[listener] = mCount; }

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

// A thread may record an answer that came before the loss after another thread has recorded the
// loss.
void endBehindReplies(const Timeline& timeline, std::vector<Life>& lives) {
    const auto& entries = timeline.entries();
    for (size_t i = 0; i < lives.size(); ++i) {
        Life& life = lives[i];
        const size_t limit = i + 1 < lives.size() ? lives[i + 1].begin : entries.size();
        for (const size_t request : life.requests) {
            const auto& other = entries[request].other;
            if (life.lost && other && *other < limit && entries[*other].kind() == FrameKind::kReply)
                life.end = std::max(life.end, *other);
        }
    }
}

}  // namespace

std::vector<Life> livesOf(const Timeline& timeline) {
    std::vector<Life> lives;
    Events events;
    const auto& entries = timeline.entries();
    for (size_t i = 0; i < entries.size(); ++i) {
        const Timeline::Entry& entry = entries[i];
        const bool running = !lives.empty() && !lives.back().lost;
        if (!running) {
            if (entry.kind() != FrameKind::kBound) continue;
            lives.emplace_back();
            lives.back().begin = i;
            events = Events();
        }
        Life& life = lives.back();
        life.end = i + 1;
        const Record record = timeline.record(entry);
        if (isLoss(record)) {
            life.end = i;
            life.lost = true;
        } else if (entry.kind() == FrameKind::kListenerSet) {
            events.listenerSet(entry.header.listener);
        } else if (entry.kind() == FrameKind::kRequest) {
            life.requests.push_back(i);
        } else if (entry.kind() == FrameKind::kNotify &&
                   events.isNew(entry.header.listener, record)) {
            life.events.push_back(i);
        }
    }
    endBehindReplies(timeline, lives);
    return lives;
}

}  // namespace recording

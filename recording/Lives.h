#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "recording/Timeline.h"

namespace recording {

// The requests and events of one service, from the first binding to its loss. They are given as
// places in the entries of a timeline.
struct Life {
    size_t begin = 0;
    // The place of the last entry. Replies and notifications that were under way when the service
    // was lost may stand behind the loss.
    size_t end = 0;
    std::optional<size_t> loss;
    // Without what was asked after the loss.
    std::vector<size_t> requests;
    // What was asked after the loss, in vain, before the application asked the next service.
    std::vector<size_t> late;
    // Every listener has a record of each event. This has the first of these records only.
    std::vector<size_t> events;
    // Where a binding that had no listener got one, without those after the loss.
    std::vector<size_t> channels;
    // The bindings that were made to it.
    std::set<uint32_t> bindings;

    // Whether the service answered a request, be it with the answer that there is no reply. When it
    // did not, it was lost before, or the recording ends before.
    bool answers(const Timeline& timeline, size_t request) const;
};

// An application that looks for the next service may still reach the one that is about to end. So a
// service that was asked nothing and sent nothing before it was lost has no life, and its bindings
// belong to none. What it was asked afterwards came late for the life before.
std::vector<Life> livesOf(const Timeline& timeline);

}  // namespace recording

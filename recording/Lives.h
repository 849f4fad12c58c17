#pragma once

#include <cstddef>
#include <vector>

#include "recording/Timeline.h"

namespace recording {

// The requests and events of one service, from the first binding to its loss. They are given as
// places in the entries of a timeline.
struct Life {
    size_t begin = 0;
    // The place behind the last entry. When the service was lost, the place of the last entry
    // itself, which is the loss or the last reply that was under way at that moment.
    size_t end = 0;
    bool lost = false;
    std::vector<size_t> requests;
    // Every listener has a record of each event. This has the first of these records only.
    std::vector<size_t> events;
};

// A request to a service that was lost already belongs to no life.
std::vector<Life> livesOf(const Timeline& timeline);

}  // namespace recording

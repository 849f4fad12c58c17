#pragma once

#include <cstddef>
#include <vector>

#include "recording/Timeline.h"

namespace recording {

// What a service did and was asked between its being bound to and its loss, as places in the
// entries of a timeline.
struct Life {
    size_t begin = 0;
    // Behind its last entry. Where it was lost, the last entry itself: the loss, or the last reply
    // that was on its way then.
    size_t end = 0;
    bool lost = false;
    std::vector<size_t> requests;
    // Each event once, though every listener has a record of it: the first of those.
    std::vector<size_t> events;
};

// What an application asked of a service that was lost already is in none of them.
std::vector<Life> livesOf(const Timeline& timeline);

}  // namespace recording

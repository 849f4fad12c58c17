#pragma once

#include <string>

#include "emulator/Service.h"
#include "emulator/page/Feed.h"
#include "recording/Timeline.h"

// What a page is told, as JSON. Texts of clients are values in it and nothing else.

namespace emulator::page {

// One happening. Of long bytes and arrays it has the beginning.
Json shown(const Happening& happening);

// An entry of a recording of this process, alike. Null for what another entry's shows.
Json shown(const recording::Timeline& timeline, const recording::Timeline::Entry& entry,
           uint32_t process);

// How the service is now: which accessories it knows, who is connected, and what is answered
// otherwise than by a healthy service.
Json situation(Service& service);

// The commands and operations of which the page makes its forms.
Json vocabulary();

}  // namespace emulator::page

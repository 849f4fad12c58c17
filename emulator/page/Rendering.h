#pragma once

#include <string>

#include "emulator/Service.h"
#include "emulator/page/Feed.h"
#include "recording/Timeline.h"

// Writes what a page receives, as JSON. Texts of clients are only ever values in it.

namespace emulator::page {

// Returns one entry of the feed. Of long bytes and arrays, only the beginning is in it.
Json shown(const Happening& happening);

// Returns the same for an entry of a recording that belongs to this process. Null when the row of
// another entry already shows this one, as a request's row shows its reply.
Json shown(const recording::Timeline& timeline, const recording::Timeline::Entry& entry,
           uint32_t process);

// Returns the present state of the service: which accessories it knows, which clients are
// connected, and which requests it answers otherwise than a healthy service.
Json situation(Service& service);

// Returns the commands and operations from which the page makes its forms.
Json vocabulary();

}  // namespace emulator::page

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recording/Timeline.h"

namespace recording {

// What tools show of one entry: a request with its answer, an event, or what is no message of the
// service's.
struct Row {
    // In words: "sendKeyEvent accessory=7 keyCode=4 flag=true -> result=0".
    std::string text;
    // As JSON, which begins with "request", "event" or "record".
    Json fields = Json::object();
    std::optional<uint32_t> accessory;
    // Of the operation, of the command for an event, or of what else happened.
    std::string name;
    bool failed = false;
};

// An event: "event" with the name that tools have for it, whom it concerns, and what it says.
Json eventFields(const Decoded& notification);

// Nothing for what other rows show, as the reply to a request.
std::optional<Row> rowOf(const Timeline& timeline, const Timeline::Entry& entry);

}  // namespace recording

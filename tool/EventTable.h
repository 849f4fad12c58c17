#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "tool/Lines.h"

namespace tool {

// One kind of event. The emulator sends it and `mirvoctl monitor` shows it under the same name and
// with the same fields.
struct EventInfo {
    static constexpr size_t kMaxFields = 10;

    // The name of the library's callback. Without a callback, that of the emulator's command.
    const char* name;
    // The emulator's command; null when no command sends it.
    const char* command;
    // The fields in the order in which callback and command have them; the rest are null. `data`
    // holds bytes, every other field a number.
    const char* fields[kMaxFields];

    size_t fieldCount() const;
};

// All events; those of the manager come first.
constexpr EventInfo kEvents[] = {
    {"onError", nullptr, {}},
    {"onAttach", "attach", {"accessory"}},
    {"onDetach", "detach", {"accessory"}},
    {"onRunningStateChange", "state", {"accessory", "state"}},
    {"onControlUnavailable", "unavailable", {"accessory"}},
    {"onDeviceRequestData", "request-data", {"accessory", "data"}},
    {"onDeviceRequest", "request", {"accessory", "param1", "param2"}},
    {"onScreenOrientationChange", "orientation", {"accessory", "orientation"}},
    {"onTimeDateResponse",
     "time-date",
     {"accessory", "date1", "date2", "date3", "hour", "minute", "second", "fraction", "week",
      "dayOfWeek"}},
    {"onHidReportDescriptor", "descriptor", {"accessory", "data"}},
    {"onHidEvent", "hid", {"accessory", "data"}},
    {"onDeviceResponse", "response", {"accessory"}},
    {"error", "error", {"accessory", "code"}},
    {"raw", "raw", {"accessory", "subCode", "data"}},
    {"notify", "notify", {"accessory", "subCode", "value"}},
};

// Returns the event with this name or this command, or null when there is none.
const EventInfo* findEvent(std::string_view nameOrCommand);

// Whether the library has a callback for this event.
inline bool isCallback(const EventInfo& event) {
    return event.name[0] == 'o' && event.name[1] == 'n';
}

// Returns the fields of an event as a JSON object. `values` has one value for each field, in the
// order of the table; bytes are hexadecimal digits.
Json eventFields(const EventInfo& event, std::initializer_list<Json> values);

}  // namespace tool

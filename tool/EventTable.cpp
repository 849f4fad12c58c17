#include "tool/EventTable.h"

#include <cassert>

namespace tool {

size_t EventInfo::fieldCount() const {
    size_t count = 0;
    while (count < kMaxFields && fields[count] != nullptr)
        ++count;
    return count;
}

const EventInfo* findEvent(std::string_view nameOrCommand) {
    for (const EventInfo& event : kEvents) {
        if (nameOrCommand == event.name) return &event;
        if (event.command != nullptr && nameOrCommand == event.command) return &event;
    }
    return nullptr;
}

Json eventFields(const EventInfo& event, std::initializer_list<Json> values) {
    assert(values.size() == event.fieldCount());
    Json fields = Json::object();
    const char* const* name = event.fields;
    for (const Json& value : values)
        fields[*name++] = value;
    return fields;
}

}  // namespace tool

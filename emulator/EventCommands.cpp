#include "emulator/EventCommands.h"

#include <string_view>

#include "protocol/MVCodes.h"
#include "protocol/MVDeviceRecords.h"
#include "tool/EventTable.h"

namespace emulator {
namespace {

using namespace accessory;

template <int32_t Code>
Notification manager(const Arguments& arguments) {
    return managerEvent(Code, arguments.id());
}

template <int32_t Code>
Notification raw(const Arguments& arguments) {
    return rawEvent(arguments.id(), Code, arguments.data());
}

Notification unavailable(const Arguments& arguments) {
    return accessoryEvent(arguments.id(), MV_CONTROL_UNAVAILABLE, -1);
}

Notification state(const Arguments& arguments) {
    return accessoryEvent(arguments.id(), MV_RUNNING_STATE_CHANGE, arguments.number("state"));
}

Notification orientation(const Arguments& arguments) {
    return accessoryEvent(arguments.id(), MV_SCREEN_ORIENTATION_CHANGE,
                          arguments.number("orientation"));
}

Notification error(const Arguments& arguments) {
    return accessoryEvent(arguments.id(), MV_ERROR_EVENT, arguments.number("code"));
}

Notification request(const Arguments& arguments) {
    return deviceRequest(arguments.id(), arguments.number("param1"), arguments.number("param2"));
}

Notification requestData(const Arguments& arguments) {
    if (arguments.data().size() > MVDeviceRequest::kMaxData) {
        throw SyntaxError("more than 36 bytes");
    }
    return deviceRequestData(arguments.id(), arguments.data());
}

Notification response(const Arguments& arguments) {
    return deviceResponse(arguments.id());
}

Notification dateAndTime(const Arguments& arguments) {
    const tool::EventInfo& info = *tool::findEvent("time-date");
    std::array<int32_t, 9> numbers = {};
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = arguments.number(info.fields[i + 1]);
    return timeDate(arguments.id(), numbers);
}

Notification anyRaw(const Arguments& arguments) {
    return rawEvent(arguments.id(), arguments.number("subCode"), arguments.data());
}

Notification anyCommon(const Arguments& arguments) {
    return accessoryEvent(arguments.id(), arguments.number("subCode"), arguments.number("value"));
}

constexpr struct {
    std::string_view name;
    Notification (*make)(const Arguments& arguments);
} kMakers[] = {
    {"attach", manager<MV_ATTACHED>},
    {"detach", manager<MV_DETACHED>},
    {"unavailable", unavailable},
    {"state", state},
    {"orientation", orientation},
    {"error", error},
    {"request", request},
    {"request-data", requestData},
    {"response", response},
    {"time-date", dateAndTime},
    {"descriptor", raw<MV_HID_REPORT_DESCRIPTOR>},
    {"hid", raw<MV_HID_EVENT>},
    {"raw", anyRaw},
    {"notify", anyCommon},
};

}  // namespace

Event makeEvent(const Parsed& parsed) {
    const std::string_view name = parsed.command->name;
    const tool::EventInfo& info = *tool::findEvent(name);
    Event event;
    for (const auto& maker : kMakers) {
        if (name == maker.name) event.notification = maker.make(parsed.arguments);
    }
    event.shown = {{"event", info.name}};
    for (size_t i = 0; i < info.fieldCount(); ++i)
        event.shown[info.fields[i]] = parsed.arguments.shown(info.fields[i]);
    event.command = parsed.line;
    return event;
}

void applyEvent(const Parsed& parsed, World& world) {
    const std::string_view name = parsed.command->name;
    if (name == "attach") world.attach(parsed.arguments.id());
    if (name == "detach") world.detach(parsed.arguments.id());
}

}  // namespace emulator

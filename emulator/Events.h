#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "protocol/ServiceContract.h"
#include "tool/Lines.h"
#include "tool/Text.h"

// The notifications that the service pushes.

namespace emulator {

using Notification = accessory::sp<accessory::ServiceNotify>;

// A notification that a command asks for.
struct Event {
    Notification notification;
    // Its name and its fields, as in JSON.
    tool::Json shown;
    // The command as it was given.
    std::string command;
};

// About the service as a whole: `code` is a ManagerEvent.
Notification managerEvent(int32_t code, uint32_t accessoryId);
// About one accessory: an AccessoryEvent and its value, or a number that is none.
Notification accessoryEvent(uint32_t accessoryId, int32_t code, int32_t value);
// About one accessory: an AccessoryRawEvent and its bytes, or a number that is none.
Notification rawEvent(uint32_t accessoryId, int32_t code, const tool::Bytes& bytes);

Notification deviceRequest(uint32_t accessoryId, int32_t param1, int32_t param2);
// At most MVDeviceRequest::kMaxData bytes.
Notification deviceRequestData(uint32_t accessoryId, const tool::Bytes& bytes);
Notification deviceResponse(uint32_t accessoryId);
// The nine numbers in the order of MVDeviceResponse.
Notification timeDate(uint32_t accessoryId, const std::array<int32_t, 9>& numbers);
// This machine's date and time: year, month, day, hour, minute, second, milliseconds, week of the
// year by ISO 8601, day of the week from Sunday, which is 0.
Notification timeDateNow(uint32_t accessoryId);

}  // namespace emulator

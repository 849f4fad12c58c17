#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/ServiceContract.h"
#include "tool/Lines.h"

// What the service can be asked, under the names that the library gives it.

namespace emulator {

using tool::Json;

struct Operation {
    const char* name;
    // The class of the request and the command in it.
    int32_t item;
    int32_t command;
    // The class of the answer.
    int32_t reply;
    // The arguments by name.
    Json (*arguments)(accessory::ServiceItem& item);
};

// Null when there is none of that name.
const Operation* findOperation(const std::string& name);

// The name of a reply class, as the library's log has it.
const char* replyName(int32_t type);

// One request, decoded.
struct Request {
    // Null for a command that no operation has.
    const Operation* operation = nullptr;
    std::string name;
    // Whom it concerns, when that is one accessory.
    std::optional<uint32_t> accessory;
    Json arguments = Json::object();
};

Request decode(accessory::ServiceItem& item);

}  // namespace emulator

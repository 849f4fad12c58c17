#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "protocol/MessageTable.h"
#include "recording/Record.h"

// The content of a message, with its fields by name. Thread-safe.

namespace recording {

using Json = nlohmann::ordered_json;

struct Decoded {
    // The name of the operation or event in protocol/MessageTable.h; for a reply, its class without
    // "MVSReply"; "unknown" when the table has no such message.
    std::string name = "unknown";
    // Null for a reply, and when the table has no such message.
    const accessory::Usage* usage = nullptr;
    std::optional<uint32_t> accessory;
    // The arguments of the operation or event by name, for a reply the fields that the library
    // reads. The values are numbers, texts, flags and arrays; bytes are hexadecimal digits.
    Json arguments = Json::object();
    // Every field of the message, named as in docs/wire.md.
    Json message = Json::object();
    // Whether the content has exactly the length of such a message.
    bool whole = false;
};

// `kind` is kRequest, kReply or kNotify.
Decoded decode(accessory::FrameKind kind, int32_t type, const uint8_t* content, size_t size);
inline Decoded decode(const Record& record) {
    return decode(record.frame.kind, record.frame.type, record.content, record.size);
}

// Null when there is none of that name.
const accessory::Usage* findOperation(const std::string& name);

// The status that a record of kind kStatus holds.
int32_t statusOf(const Record& record);
// How many records a record of kind kGap stands for.
uint64_t missingRecords(const Record& record);

}  // namespace recording

#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "protocol/MessageTable.h"
#include "recording/Record.h"

// Names what the bytes of a message mean. Thread-safe.

namespace recording {

using Json = nlohmann::ordered_json;

struct Decoded {
    // Of the operation or event, as protocol/MessageTable.h names it; of a reply, its class without
    // "MVSReply"; "unknown" where the table has none.
    std::string name = "unknown";
    // Null where the table has none, and for a reply.
    const accessory::Usage* usage = nullptr;
    std::optional<uint32_t> accessory;
    // What the operation or event says, by name: numbers, texts, flags, arrays; bytes as
    // hexadecimal digits. Of a reply the fields that the library reads.
    Json arguments = Json::object();
    // Every field of the message, named as in docs/wire.md.
    Json message = Json::object();
    // Whether the content is exactly as long as such a message.
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

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "protocol/Frame.h"

// What a recording consists of. Each record is a packet of a pcapng file: a RecordHeader, and
// behind it a frame. docs/recording.md describes the file for its readers.

namespace recording {

using accessory::FrameHeader;
using accessory::FrameKind;

constexpr uint16_t kRecordVersion = 1;

// Data that a recording can leave out. Numbers and characters are replaced then, and sizes stay.
enum LeftOut : uint16_t {
    kLeftOutInput = 1,  // keys and touches
    kLeftOutText = 2,
    kLeftOutBytes = 4,
};

struct RecordHeader {
    uint16_t version = kRecordVersion;
    uint16_t leftOut = 0;    // what this record lacks, a sum of LeftOut
    uint32_t thread = 0;     // the system's number of the thread that called or was called
    uint32_t binding = 0;    // counted from 1; 0 where the record concerns none
    uint32_t listener = 0;   // the same
    uint64_t monotonic = 0;  // nanoseconds by the monotonic clock
    uint64_t duration = 0;   // nanoseconds: of a request, with its reply; of a callback, at its end
};
static_assert(sizeof(RecordHeader) == 32, "the header is laid out without padding");

// One record. A request and its reply have the same sequence in their frames, and so have a
// notification and the end of its callback.
struct Record {
    RecordHeader header;
    FrameHeader frame;  // its length is that of the whole content
    uint64_t wall = 0;  // nanoseconds since 1970
    // Less than the frame's length when a part is missing in the file.
    const uint8_t* content = nullptr;
    size_t size = 0;
};

// The content of a record of kind kBegin.
struct Beginning {
    uint32_t process = 0;
    // Which file of the recording begins, from 0. What precedes a later one is in another file, or
    // lost.
    uint32_t file = 0;
    uint16_t leftOut = 0;
    std::string program;
};

// False when the record's content is no Beginning.
bool readBeginning(const Record& record, Beginning& beginning);

}  // namespace recording

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

// What a recording may be told to leave out. Numbers and characters are replaced then, and sizes
// stay.
enum LeftOut : uint16_t {
    kLeftOutInput = 1,  // keys and touches
    kLeftOutText = 2,
    kLeftOutBytes = 4,
};

struct RecordHeader {
    uint16_t version = kRecordVersion;
    uint16_t leftOut = 0;    // of this record, by LeftOut
    uint32_t thread = 0;     // the system's number of the thread that was calling or called
    uint32_t binding = 0;    // counted from 1; 0 where the record concerns none
    uint32_t listener = 0;   // the same
    uint64_t monotonic = 0;  // nanoseconds by the monotonic clock
    uint64_t duration = 0;   // nanoseconds: of a request, with its reply; of a callback, at its end
};
static_assert(sizeof(RecordHeader) == 32, "the header is laid out without padding");

// One record. The frame's sequence is the same for what belongs together: a request and what came
// back, a notification and the end of its callback.
struct Record {
    RecordHeader header;
    FrameHeader frame;  // its length is that of the whole content
    uint64_t wall = 0;  // nanoseconds since 1970
    // Fewer than the frame's length where the file lacks a part.
    const uint8_t* content = nullptr;
    size_t size = 0;
};

// What a record of kind kBegin holds.
struct Beginning {
    uint32_t process = 0;
    // Which file of the recording begins: what precedes any but file 0 is elsewhere, or lost.
    uint32_t file = 0;
    uint16_t leftOut = 0;
    std::string program;
};

// False when the content is none.
bool readBeginning(const Record& record, Beginning& beginning);

}  // namespace recording

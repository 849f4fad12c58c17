#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "recording/Decoder.h"
#include "recording/Record.h"

namespace recording {

// A whole recording in memory, for tools that look back and ahead in it. It takes about as much
// memory as the file is long. Thread-safe after its construction.
class Timeline {
public:
    struct Entry {
        RecordHeader header;
        FrameHeader frame;
        uint64_t wall = 0;
        size_t place = 0;  // of the content
        size_t size = 0;
        // The place of the other record of a pair. Pairs are a request and its reply (or the record
        // that none came), and a notification and the end of its callback.
        std::optional<size_t> other;

        FrameKind kind() const { return frame.kind; }
    };

    // Throws Malformed, also when the file cannot be read.
    explicit Timeline(const std::string& path);
    explicit Timeline(std::istream& file);

    // In the order of the file.
    const std::vector<Entry>& entries() const { return mEntries; }
    // The record of an entry. Its content belongs to this object.
    Record record(const Entry& entry) const;
    Decoded decode(const Entry& entry) const { return recording::decode(record(entry)); }

    // Nanoseconds since the recording began.
    uint64_t since(const Entry& entry) const;
    // Nanoseconds from the first record of a pair to the other; 0 where there is none.
    uint64_t duration(const Entry& entry) const;
    // The reply to a request, as the emulator shows it; {"noReply": true} when there was none.
    // Nothing when the recording ends before the reply.
    std::optional<Json> answerTo(const Entry& request) const;
    // Whether the request failed: with a result other than 0, without a reply, or with one of
    // another class.
    bool failed(const Entry& request) const;

    // Why this recording cannot be replayed: it begins in the middle, contents were left out, it
    // holds more than one process, or it is damaged. Empty when it can.
    std::string whyNotReplayable() const;
    // The places where the record of another process begins.
    const std::set<size_t>& processes() const { return mProcesses; }
    // How many records are missing in gaps.
    uint64_t missing() const { return mMissing; }
    bool torn() const { return mTorn; }

private:
    void read(std::istream& file);
    void add(const Record& record);

    std::vector<Entry> mEntries;
    std::vector<uint8_t> mContents;
    uint64_t mMissing = 0;
    uint16_t mLeftOut = 0;
    std::set<size_t> mProcesses;
    bool mTorn = false;
};

// A reply to a request, as the emulator shows it. Pass null when there was none.
Json answerTo(const Decoded& request, const Decoded* reply);
// A request as the emulator prints it: "sendKeyEvent accessory=7 keyCode=4 flag=true".
std::string shown(const Decoded& request);
// A notification as the emulator's command for it: "state 7 2".
std::string commandOf(const Decoded& notification);
// Whether a record says that the service was lost.
bool isLoss(const Record& record);

}  // namespace recording

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/Decoder.h"
#include "recording/Record.h"

namespace recording {

// A whole recording in memory, for tools that look back and ahead in it. It takes about as much
// memory as the file is long. Thread-safe once it has been read.
class Timeline {
public:
    struct Entry {
        RecordHeader header;
        FrameHeader frame;
        uint64_t wall = 0;
        size_t place = 0;  // of the content
        size_t size = 0;
        // The other record of a pair: a request and its reply or the lack of one, a notification
        // and the end of its callback.
        std::optional<size_t> other;

        FrameKind kind() const { return frame.kind; }
    };

    // Throws Malformed, also when the file cannot be read.
    explicit Timeline(const std::string& path);

    // In the order of the file.
    const std::vector<Entry>& entries() const { return mEntries; }
    // What an entry holds. The content belongs to this object.
    Record record(const Entry& entry) const;
    Decoded decode(const Entry& entry) const { return recording::decode(record(entry)); }

    // Nanoseconds since the recording began.
    uint64_t since(const Entry& entry) const;
    // What the reply to a request says, as the emulator shows it; {"noReply": true} when there was
    // none. Nothing when the recording ends before it came.
    std::optional<Json> answerTo(const Entry& request) const;
    // Whether the request failed: with a result other than 0, without a reply, or with one of
    // another class.
    bool failed(const Entry& request) const;

    // Why this recording cannot be played again: it begins in the middle, contents were left out,
    // or there is more than one process in it. Empty when it can.
    std::string whyNotReplayable() const;
    // How many records are missing in gaps.
    uint64_t missing() const { return mMissing; }
    bool torn() const { return mTorn; }

private:
    void add(const Record& record);

    std::vector<Entry> mEntries;
    std::vector<uint8_t> mContents;
    uint64_t mMissing = 0;
    uint16_t mLeftOut = 0;
    bool mSeveralProcesses = false;
    bool mTorn = false;
};

// What a reply to a request says, as the emulator shows it. No reply is null.
Json answerTo(const Decoded& request, const Decoded* reply);
// A request as the emulator prints it: "sendKeyEvent accessory=7 keyCode=4 flag=true".
std::string shown(const Decoded& request);
// A notification as the emulator's command for it: "state 7 2".
std::string commandOf(const Decoded& notification);
// Whether a record says that the service was lost.
bool isLoss(const Record& record);

}  // namespace recording

#include <sstream>
#include <string>

#include "recording/Decoder.h"
#include "recording/Lives.h"
#include "recording/Messages.h"
#include "recording/Reader.h"
#include "tests/fuzz/Input.h"

// Arbitrary files for the reader of recordings, and whatever it finds in them for the decoder and
// for those who look back and ahead in it.

namespace {

void read(std::istream& file, size_t length) {
    try {
        recording::Reader reader(file);
        recording::Record record;
        uint64_t total = 0;
        while (reader.next(record)) {
            total += record.size;
            recording::Beginning beginning;
            readBeginning(record, beginning);
            const recording::Decoded decoded = decode(record);
            if (decoded.name.empty()) abort();
            decoded.arguments.dump(-1, ' ', false, recording::Json::error_handler_t::replace);
        }
        // No byte of the file is given out twice.
        if (total > length) abort();
    } catch (const recording::Malformed&) {
    }
}

// What the tools do with every recording.
void lookAt(std::istream& file) {
    try {
        const recording::Timeline timeline(file);
        const auto& entries = timeline.entries();
        for (const auto& entry : entries) {
            const recording::Record record = timeline.record(entry);
            const recording::Decoded decoded = timeline.decode(entry);
            timeline.since(entry);
            if (entry.other &&
                entries.at(*entry.other).other.value_or(entries.size()) >= entries.size()) {
                abort();
            }
            if (entry.kind() == recording::FrameKind::kRequest) {
                shown(decoded);
                timeline.failed(entry);
                recording::itemOf(record);
            } else if (entry.kind() == recording::FrameKind::kReply) {
                recording::replyOf(record);
            } else if (entry.kind() == recording::FrameKind::kNotify) {
                commandOf(decoded);
                recording::notifyOf(record);
            }
        }
        size_t last = 0;
        for (const recording::Life& life : recording::livesOf(timeline)) {
            if (life.begin < last || life.begin > life.end || life.end >= entries.size()) abort();
            last = life.begin;
            for (const size_t place : life.requests) {
                if (place < life.begin || place > life.end) abort();
                if (life.answers(timeline, place) && *entries[place].other > life.end) abort();
            }
            for (const size_t place : life.events) {
                if (place < life.begin || place > life.end) abort();
            }
        }
    } catch (const recording::Malformed&) {
    }
}

}  // namespace

void fuzz(Input& input) {
    const std::vector<uint8_t> bytes = input.rest();
    std::istringstream file(std::string(bytes.begin(), bytes.end()));
    read(file, bytes.size());
    file.clear();
    file.seekg(0);
    lookAt(file);
}

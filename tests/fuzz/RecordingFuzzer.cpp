#include <sstream>
#include <string>

#include "recording/Decoder.h"
#include "recording/Reader.h"
#include "tests/fuzz/Input.h"

// Arbitrary files for the reader of recordings, and whatever it finds in them for the decoder.

void fuzz(Input& input) {
    const std::vector<uint8_t> bytes = input.rest();
    std::istringstream file(std::string(bytes.begin(), bytes.end()));
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
        if (total > bytes.size()) abort();
    } catch (const recording::Malformed&) {
    }
}

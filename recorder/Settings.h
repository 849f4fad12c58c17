#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace recorder {

// What the environment says about the recording.
struct Settings {
    std::string path;
    uint64_t limit = uint64_t{64} << 20;  // bytes of both files together
    uint16_t leftOut = 0;                 // by recording::LeftOut
};

// Nothing when there is to be no recording: without ZRMIRVO_RECORDING, and, with one line in the
// log, when one of the variables cannot be understood.
std::optional<Settings> readSettings();

// A number of bytes with K, M or G behind it or nothing; at least 64 KiB.
std::optional<uint64_t> parseLimit(const std::string& text);
// Words with commas between them.
std::optional<uint16_t> parseLeftOut(const std::string& text);

}  // namespace recorder

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace recorder {

// The settings of the recording, as the environment has them.
struct Settings {
    std::string path;
    uint64_t limit = uint64_t{64} << 20;  // bytes of both files together
    uint16_t leftOut = 0;                 // a sum of recording::LeftOut
};

// Nothing when ZRMIRVO_RECORDING is not set, and, with one line in the log, when one of the
// variables cannot be understood.
std::optional<Settings> readSettings();

// Puts the number of this process in the place of %p.
std::string withProcess(std::string path);

// Reads a number of bytes, or of units with K, M or G behind it. Nothing for less than 64 KiB.
std::optional<uint64_t> parseLimit(const std::string& text);
// Reads words with commas between them into a sum of recording::LeftOut.
std::optional<uint16_t> parseLeftOut(const std::string& text);

}  // namespace recorder

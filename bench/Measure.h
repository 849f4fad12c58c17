#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "bench/Pair.h"

namespace bench {

// Where to measure, and for how long.
struct Setting {
    Setting(const std::string& dataFolder, bool isQuick);

    // A new folder for the socket of one service.
    std::string newFolder() const;

    const std::string folder;
    const bool quick;
    Place oneCore;
    Place twoCores;
    bool hasTwoCores;
    // The folder of the benchmark's programs.
    std::string programs;
};

// Each prints a table and returns the figures for the JSON file.
nlohmann::ordered_json measureRoundTrips(const Setting& setting);
nlohmann::ordered_json measureNotifications(const Setting& setting);
nlohmann::ordered_json measureCurves(const Setting& setting);
nlohmann::ordered_json measureCosts(const Setting& setting);
nlohmann::ordered_json measureRecording(const Setting& setting);
nlohmann::ordered_json measureAll(const Setting& setting, const std::string& only);

// Counts the instructions of a fixed number of calls on the client's side, by machine and compiler.
nlohmann::ordered_json countInstructions(const Setting& setting);

// The command that plays a role `count` times in a process of its own.
std::string role(const Setting& setting, const std::string& name, size_t count);
// The first group of `pattern` in `text`.
double numberIn(const std::string& text, const char* pattern);
// The system calls of one call, with further options for strace.
double systemCallsPerCall(const Setting& setting, const std::string& name,
                          const std::string& options);

}  // namespace bench

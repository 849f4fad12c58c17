#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "bench/Floor.h"

namespace bench {

// Where and how long is measured.
struct Setting {
    Setting(const std::string& dataFolder, bool isQuick);

    // A service of its own for whoever asks.
    std::string newFolder() const;

    const std::string folder;
    const bool quick;
    Place oneCore;
    Place twoCores;
    bool hasTwoCores;
    // Where the benchmark's programs are.
    std::string programs;
};

// Each prints a table and answers the figures that are kept.
nlohmann::ordered_json measureRoundTrips(const Setting& setting);
nlohmann::ordered_json measureNotifications(const Setting& setting);
nlohmann::ordered_json measureCurves(const Setting& setting);
nlohmann::ordered_json measureCosts(const Setting& setting);
nlohmann::ordered_json measureAll(const Setting& setting, const std::string& only);

// The instructions of a fixed number of calls on the client's side, by machine and compiler.
nlohmann::ordered_json countInstructions(const Setting& setting);

}  // namespace bench

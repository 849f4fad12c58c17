#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/Speed.h"

namespace mirvoctl {

// The arguments of the commands about recordings.
struct RecordingOptions {
    std::string file;
    std::string second;

    // What show leaves out: everything else. Empty for all.
    std::vector<uint32_t> accessories;
    std::vector<std::string> names;
    std::optional<uint32_t> thread;
    bool failed = false;
    // Milliseconds: at least so long, and since the beginning.
    std::optional<uint32_t> slower;
    std::optional<uint32_t> from;
    std::optional<uint32_t> to;

    // Arguments that are not compared.
    std::vector<std::string> ignored;
    // Which life of the service, from 1.
    uint32_t life = 1;

    recording::Speed speed;
    uint32_t patience = 5000;  // milliseconds
};

}  // namespace mirvoctl

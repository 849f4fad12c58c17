#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace mirvoctl {

// The options that stand before any command.
struct Options {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    std::string directory;
    // In milliseconds; 0 where it was not given.
    uint32_t timeout = 0;
    uint32_t wait = 0;

    void declare(CLI::App& parser);
};

}  // namespace mirvoctl

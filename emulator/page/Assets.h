#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace emulator::page {

// A file of web/. Embed.cmake compiles these files into the program.
struct Asset {
    std::string_view name;
    std::string_view content;
};

const std::vector<Asset>& assets();

}  // namespace emulator::page

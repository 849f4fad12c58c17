#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

// The time that the tools show: whole milliseconds since the tool was started. A change of the
// machine's date does not change it. In JSON it is the field "time".
class Clock {
public:
    int64_t milliseconds() const {
        const auto passed = std::chrono::steady_clock::now() - mStart;
        return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
    }

    // The text that --timestamps puts before a line.
    static std::string prefix(int64_t milliseconds) {
        return "[" + std::to_string(milliseconds) + "] ";
    }

private:
    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
};

}  // namespace tool

#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace recording {

// How fast a recording is played.
class Speed {
public:
    // Reads "max", or how many times faster than recorded it shall be. Nothing for any other text.
    static std::optional<Speed> parse(const std::string& text) {
        Speed speed;
        speed.mTimes = 0;
        if (text == "max") return speed;
        try {
            size_t end = 0;
            speed.mTimes = std::stod(text, &end);
            if (end == text.size() && speed.mTimes >= 0.001 && speed.mTimes <= 1e6) return speed;
        } catch (const std::logic_error&) {
        }
        return std::nullopt;
    }

    // How long something takes at this speed, when it took so many nanoseconds in the recording.
    std::chrono::nanoseconds scaled(uint64_t nanoseconds) const {
        if (mTimes == 0) return std::chrono::nanoseconds(0);
        // A recording that is damaged, or played slowly, must not lead past the end of the clock.
        constexpr double kLongest = 1e17;
        return std::chrono::nanoseconds(
            static_cast<int64_t>(std::min(static_cast<double>(nanoseconds) / mTimes, kLongest)));
    }

private:
    double mTimes = 1;  // 0 means as fast as possible
};

}  // namespace recording

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace recording {

// How fast a recording is played again.
class Speed {
public:
    // "max", or how many times faster than it was recorded. Nothing for anything else.
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

    // How long what took so many nanoseconds takes now.
    std::chrono::nanoseconds scaled(uint64_t nanoseconds) const {
        if (mTimes == 0) return std::chrono::nanoseconds(0);
        return std::chrono::nanoseconds(
            static_cast<int64_t>(static_cast<double>(nanoseconds) / mTimes));
    }

private:
    double mTimes = 1;  // 0 is as fast as possible
};

}  // namespace recording

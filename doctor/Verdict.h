#pragma once

#include <string>

namespace doctor {

enum class Result { kGood, kBad, kNotTried };

// The result of a step, with a sentence without its full stop.
struct Verdict {
    Result result;
    std::string text;
};

inline Verdict good(const std::string& text) {
    return {Result::kGood, text};
}
inline Verdict bad(const std::string& text) {
    return {Result::kBad, text};
}
inline Verdict notTried(const std::string& text) {
    return {Result::kNotTried, text};
}

}  // namespace doctor

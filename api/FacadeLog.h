#pragma once

#include <android/log.h>

namespace zrmirvo {

constexpr const char* kLogTag = "ZRMirvo";

// The status of whatever fails inside the facade.
constexpr int kFailed = 1;

// A precondition on what the application passes. A violated one is reported, in every build, and
// the caller refuses; the process goes on.
inline bool holds(bool condition, const char* expression) {
    if (!condition) __android_log_print(ANDROID_LOG_ERROR, kLogTag, "violated: %s\n", expression);
    return condition;
}

}  // namespace zrmirvo

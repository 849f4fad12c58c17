#pragma once

#include "api/Log.h"

namespace zrmirvo {

// A precondition on what the application passes. In every build a violated one is reported, the
// caller refuses the call, and the process goes on.
inline bool holds(bool condition, const char* expression) {
    if (!condition) __android_log_print(ANDROID_LOG_ERROR, kLogTag, "violated: %s\n", expression);
    return condition;
}

}  // namespace zrmirvo

#pragma once

#include <android/log.h>

namespace zrmirvo {

constexpr const char* kLogTag = "ZRMirvo";

inline void logError(const char* text) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s", text);
}

}  // namespace zrmirvo

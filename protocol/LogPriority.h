#pragma once

#include <android/log.h>
#include <strings.h>

#include <cstdlib>

namespace accessory {

// Sets the least priority of the lines that liblog lets through to what ZRMIRVO_LOG in the
// environment says: "debug", for example, or "d". False when the variable says nothing that can be
// used. Whoever calls liblog afterwards overrides it.
//
// Threads: one thread at a time, since the environment is read.
inline bool setLogPriorityFromEnvironment() {
    constexpr struct {
        const char* name;
        android_LogPriority priority;
    } kPriorities[] = {
        {"verbose", ANDROID_LOG_VERBOSE}, {"debug", ANDROID_LOG_DEBUG},
        {"info", ANDROID_LOG_INFO},       {"warning", ANDROID_LOG_WARN},
        {"error", ANDROID_LOG_ERROR},     {"fatal", ANDROID_LOG_FATAL},
        {"silent", ANDROID_LOG_SILENT},
    };
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* wanted = std::getenv("ZRMIRVO_LOG");
    if (wanted == nullptr || *wanted == '\0') return false;
    const bool isLetter = wanted[1] == '\0';
    for (const auto& [name, priority] : kPriorities) {
        if (strcasecmp(name, wanted) != 0 && !(isLetter && strncasecmp(name, wanted, 1) == 0))
            continue;
        __android_log_set_minimum_priority(priority);
        return true;
    }
    __android_log_print(ANDROID_LOG_WARN, "ZRMirvo", "ZRMIRVO_LOG is no priority: %s", wanted);
    return false;
}

}  // namespace accessory

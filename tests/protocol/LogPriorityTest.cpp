#include "protocol/LogPriority.h"

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace accessory {
namespace {

TEST(LogPriority, isTheOneThatTheEnvironmentNames) {
    constexpr android_LogPriority kBefore = ANDROID_LOG_UNKNOWN;
    const struct {
        const char* text;
        android_LogPriority priority;
        size_t lines = 0;
    } rows[] = {
        {"verbose", ANDROID_LOG_VERBOSE},
        {"debug", ANDROID_LOG_DEBUG},
        {"Info", ANDROID_LOG_INFO},
        {"WARNING", ANDROID_LOG_WARN},
        {"error", ANDROID_LOG_ERROR},
        {"fatal", ANDROID_LOG_FATAL},
        {"silent", ANDROID_LOG_SILENT},
        {"d", ANDROID_LOG_DEBUG},
        {"S", ANDROID_LOG_SILENT},
        {"", kBefore},
        {"x", kBefore, 1},
        {"de", kBefore, 1},
        {"debugging", kBefore, 1},
    };
    testing_support::LogCapture log;
    const int32_t before = __android_log_get_minimum_priority();
    for (const auto& [text, priority, lines] : rows) {
        __android_log_set_minimum_priority(kBefore);
        setenv("ZRMIRVO_LOG", text, 1);
        EXPECT_EQ(setLogPriorityFromEnvironment(), priority != kBefore) << text;
        EXPECT_EQ(__android_log_get_minimum_priority(), priority) << text;
        EXPECT_EQ(log.take("ZRMirvo").size(), lines) << text;
    }
    unsetenv("ZRMIRVO_LOG");
    EXPECT_FALSE(setLogPriorityFromEnvironment());
    __android_log_set_minimum_priority(before);
}

}  // namespace
}  // namespace accessory

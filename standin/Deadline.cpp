#include "standin/Deadline.h"

#include <cerrno>
#include <cstdlib>

#include "standin/Log.h"

namespace accessory::standin {

int requestTimeout() {
    constexpr int kDefault = 5000;
    constexpr long kLongest = 24L * 3600 * 1000;
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* text = std::getenv("SERVICE_FRAMEWORK_TIMEOUT_MS");
    if (text == nullptr || *text == '\0') return kDefault;
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (*end == '\0' && errno == 0 && value > 0 && value <= kLongest)
        return static_cast<int>(value);
    logError("SERVICE_FRAMEWORK_TIMEOUT_MS is no time in milliseconds: \"%s\"; %d is taken", text,
             kDefault);
    return kDefault;
}

}  // namespace accessory::standin

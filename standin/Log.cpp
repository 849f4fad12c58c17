#include "standin/Log.h"

#include <android/log.h>

#include <cstdarg>
#include <system_error>

#include "protocol/LogPriority.h"

namespace accessory::standin {
namespace {

// Runs when the library is loaded, so that any application that uses it can be watched.
__attribute__((constructor)) void setLogPriority() {
    setLogPriorityFromEnvironment();
}

}  // namespace

void logError(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __android_log_vprint(ANDROID_LOG_ERROR, "ServiceFramework", format, arguments);
    va_end(arguments);
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace accessory::standin

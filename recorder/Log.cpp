#include "recorder/Log.h"

#include <android/log.h>

#include <cstdarg>
#include <system_error>

namespace recorder {

void logError(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __android_log_vprint(ANDROID_LOG_ERROR, "MirvoRecorder", format, arguments);
    va_end(arguments);
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace recorder

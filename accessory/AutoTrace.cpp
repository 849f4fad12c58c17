#include "accessory/AutoTrace.h"

#include <android/log.h>

namespace accessory {

AutoTrace::AutoTrace(const char* tag, const char* function, bool enabled)
    : mTag(tag), mFunction(function), mEnabled(enabled) {
    if (mEnabled) {
        __android_log_print(ANDROID_LOG_DEBUG, tag, "[%s][%s] [--IN--]", tag, function);
    }
}

AutoTrace::~AutoTrace() {
    if (mEnabled) {
        __android_log_print(ANDROID_LOG_DEBUG, mTag.c_str(), "[%s][%s] [--OUT--]", mTag.c_str(),
                            mFunction.c_str());
    }
}

}  // namespace accessory

#include "accessory/AutoTrace.h"

#include <android/log.h>

namespace accessory {

AutoTrace::AutoTrace(const char* tag, const char* function, bool enabled) : mEnabled(enabled) {
    mTag.setTo(tag);
    mFunction.setTo(function);
    if (mEnabled) {
        __android_log_print(ANDROID_LOG_DEBUG, tag, "[%s][%s] [--IN--]", tag, function);
    }
}

AutoTrace::~AutoTrace() {
    if (mEnabled) {
        __android_log_print(ANDROID_LOG_DEBUG, mTag.string(), "[%s][%s] [--OUT--]", mTag.string(),
                            mFunction.string());
    }
}

}  // namespace accessory

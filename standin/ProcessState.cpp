#include "protocol/ProcessState.h"

#include "standin/Export.h"
#include "standin/NotifyPool.h"

namespace android {

SERVICE_FRAMEWORK_EXPORT sp<ProcessState> ProcessState::self() {
    // It is never destroyed, because an application may end while its threads still use it.
    static const sp<ProcessState>* state = new sp<ProcessState>(new ProcessState);
    return *state;
}

SERVICE_FRAMEWORK_EXPORT void ProcessState::startThreadPool() {
    accessory::standin::NotifyPool::instance().start();
}

}  // namespace android

#include "protocol/ProcessState.h"

#include "standin/Export.h"
#include "standin/NotifyPool.h"

namespace android {

SERVICE_FRAMEWORK_EXPORT sp<ProcessState> ProcessState::self() {
    // Never destroyed: an application may end while its threads still ask for it.
    static const sp<ProcessState>* state = new sp<ProcessState>(new ProcessState);
    return *state;
}

SERVICE_FRAMEWORK_EXPORT void ProcessState::startThreadPool() {
    accessory::standin::NotifyPool::instance().start();
}

}  // namespace android

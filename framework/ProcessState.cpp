#include "protocol/ProcessState.h"

#include "framework/Export.h"
#include "framework/NotifyPool.h"

namespace android {

SERVICE_FRAMEWORK_EXPORT sp<ProcessState> ProcessState::self() {
    // Never destroyed: an application may end while its threads still ask for it.
    static const sp<ProcessState>* state = new sp<ProcessState>(new ProcessState);
    return *state;
}

SERVICE_FRAMEWORK_EXPORT void ProcessState::startThreadPool() {
    accessory::framework::NotifyPool::instance().start();
}

}  // namespace android

#include "protocol/ProcessState.h"
#include "protocol/ServiceFramework.h"

// The symbols of the framework that the library needs, to link against where no framework is at
// hand. This is never installed and never run.

namespace accessory {

ServiceDiscoverer* ServiceDiscoverer::self() {
    return nullptr;
}

sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>& /*info*/) {
    return nullptr;
}

}  // namespace accessory

namespace android {

sp<ProcessState> ProcessState::self() {
    return nullptr;
}

void ProcessState::startThreadPool() {}

}  // namespace android

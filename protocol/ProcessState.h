#pragma once

#include <utils/RefBase.h>

namespace android {

// The framework's pool of threads on which notifications are delivered.
class ProcessState : public virtual RefBase {
public:
    // The one pool of the process; never null.
    static sp<ProcessState> self();

    // Starts the delivery of notifications. Harmless when it is called again.
    void startThreadPool();
};

}  // namespace android

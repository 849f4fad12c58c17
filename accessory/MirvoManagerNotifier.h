#pragma once

#include <utils/RefBase.h>

namespace accessory {

// Receives the events of the service as a whole from a MirvoManager.
//
// Threads: delivery thread. A framework may deliver two events at once. Every operation of this
// library may be called from inside. Nothing may be thrown.
//
// Ownership: the manager client holds the notifier through an sp<>, from setNotifier until it is
// replaced or the client is gone.
class MirvoManagerNotifier : public virtual android::RefBase {
public:
    ~MirvoManagerNotifier() override = default;

    // The service is lost; `errorCode` is 1. The client may be released in here.
    virtual void error(int errorCode) = 0;
    virtual void attach(unsigned int accessoryId) = 0;
    virtual void detach(unsigned int accessoryId) = 0;
    // This is never called.
    virtual void videoEstablished(unsigned int /*accessoryId*/) {}
};

}  // namespace accessory

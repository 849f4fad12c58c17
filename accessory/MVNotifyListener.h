#pragma once

#include "accessory/DetachablePointer.h"
#include "accessory/MirvoNotifier.h"
#include "protocol/AccessoryMessages.h"

namespace accessory {

class MirvoImpl;

// Picks the notifications of one accessory out of what its handle's client receives, and calls the
// handle's notifier.
//
// Threads: onNotify runs on a delivery thread. It may be called after the handle is gone, and does
// nothing then.
class MVNotifyListener final : public ServiceNotifyListener {
public:
    explicit MVNotifyListener(MirvoImpl* impl) : mImpl(impl) {}

    void onNotify(sp<ServiceNotify>& notify) override;

    // Makes `notifier` the handle's, if there still is a handle.
    void install(sp<MirvoNotifier> notifier);

    // After this the handle is not used any more.
    void detach() { mImpl.detach(); }

private:
    DetachablePointer<MirvoImpl> mImpl;
};

}  // namespace accessory

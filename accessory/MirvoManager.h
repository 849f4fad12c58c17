#pragma once

#include <utils/RefBase.h>
#include <utils/String8.h>

#include "accessory/MVBluetoothConfig.h"
#include "accessory/Mirvo.h"
#include "accessory/MirvoManagerNotifier.h"

namespace accessory {

class MirvoManagerImpl;

// The projection service as a whole.
//
// Threads: thread-safe, and every operation may be called from inside a notifier. Each but
// setNotifier is one request, which blocks for at most the request timeout of the service
// framework; getMirvo also binds the new handle. No operation may begin once the last reference is
// going. One has begun when it has taken references to what it needs, in its first few instructions
// and before its first line in the log; it then ends normally.
//
// Ownership: through sp<>. Text arguments are read during the call only.
//
// Results: 0 is success. Any other value is the service's own code, or 1 for an illegal argument,
// no client, no reply or a reply of the wrong class, with one line in the log. Once the service is
// lost there is no client any more: make a new manager.
class __attribute__((visibility("default"))) MirvoManager : public virtual android::RefBase {
public:
    // Binds to the service and begins to listen, which blocks for at most the request timeout.
    MirvoManager();
    ~MirvoManager() override;

    int startup();
    int shutdown();
    // The texts are not null; what they mean is the service's.
    int connect(const char* arg);
    int disconnect(const char* arg);
    int setConfigFile(const char* path);
    // `config` is not null. Its text ends at its terminator, or with its 32 bytes.
    int setBluetoothConfig(MVBluetoothConfig* config);
    // Neither argument is null. On success `*data` is a new array of `*length` bytes, which the
    // caller releases with delete[]. `*length` is 0 once the request is on its way. A reply without
    // bytes fails with `*data` null and the size that it names, if that is below 0, in `*length`.
    int getHidDescriptor(unsigned char** data, int* length);
    // `ids` has room for 10, and neither argument is null. `*count` is 0 once the request is on its
    // way and at most 10 afterwards.
    int getIds(unsigned int* ids, unsigned int* count);
    // Returns a new handle for the accessory, or null when the service refuses or does not answer.
    sp<Mirvo> getMirvo(unsigned int accessoryId);
    // Makes `notifier` the receiver of the service's events, and returns 0. When it is null, the
    // one that was there stays, and the result is 1. Does not block.
    int setNotifier(const sp<MirvoManagerNotifier>& notifier);
    // Asks for the service's version, over a binding of its own. The result is "3.6.3" when there
    // is no service or it does not give one.
    static android::String8 getVersion();

private:
    MirvoManagerImpl* mImpl;
};

}  // namespace accessory

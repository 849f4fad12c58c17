#pragma once

#include <utils/String8.h>

#include "accessory/MVBluetoothConfig.h"
#include "accessory/Mirvo.h"
#include "accessory/MirvoManagerNotifier.h"
#include "protocol/ServiceFramework.h"

namespace accessory {

// Implements MirvoManager. It binds to the service once, in its constructor, and never again: when
// the service is lost, every operation fails from then on.
class MirvoManagerImpl {
public:
    class MVManagerNotifyListener;

    MirvoManagerImpl();
    ~MirvoManagerImpl();

    MirvoManagerImpl(const MirvoManagerImpl&) = delete;
    MirvoManagerImpl& operator=(const MirvoManagerImpl&) = delete;

    int startup();
    int shutdown();
    int connect(const char* arg);
    int disconnect(const char* arg);
    int setConfigFile(const char* path);
    int setBluetoothConfig(MVBluetoothConfig* config);
    int getHidDescriptor(unsigned char** data, int* length);
    int getIds(unsigned int* ids, unsigned int* count);
    sp<Mirvo> getMirvo(unsigned int accessoryId);
    int setNotifier(const sp<MirvoManagerNotifier>& notifier);
    static android::String8 getVersion();

private:
    // What an operation needs is taken before its first log line, because this object may be
    // released at any moment after. Null when there is no service.
    sp<ServiceClient> client() const;

    // The listener's lock guards these two from the end of the constructor on, until the destructor
    // has detached the listener.
    sp<ServiceClient> mServiceClient;
    sp<MirvoManagerNotifier> mNotifier;
    sp<MVManagerNotifyListener> mListener;
};

}  // namespace accessory

#pragma once

#include <utils/Mutex.h>
#include <utils/String8.h>

#include "accessory/MVBluetoothConfig.h"
#include "accessory/Mirvo.h"
#include "accessory/MirvoManagerNotifier.h"
#include "protocol/ServiceFramework.h"

namespace accessory {

// What MirvoManager says, done. Bound to the service from construction until the service is lost or
// this object goes; nothing binds again.
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
    // Each is taken once per operation or notification, which then works on what it took: the
    // service may be lost, or this object released, at any moment after.
    sp<ServiceClient> client();
    sp<MirvoManagerNotifier> notifier();
    sp<ServiceClient> takeClient();

    sp<ServiceClient> mServiceClient GUARDED_BY(mLock);
    sp<MirvoManagerNotifier> mNotifier GUARDED_BY(mLock);
    sp<MVManagerNotifyListener> mListener;
    android::Mutex mLock;
};

}  // namespace accessory

#pragma once

#include <utils/RefBase.h>
#include <zrmirvo/ZRMirvoManager.h>

#include "accessory/MirvoManager.h"
#include "api/InstanceTable.h"
#include "api/ManagerLink.h"
#include "api/ZRMirvoNotifier.h"

namespace zrmirvo {

// The manager of the process. Every operation first takes references to what it needs. After that
// it does not touch this object any more, because it may be released meanwhile.
class ZRMirvoManagerImpl final : public ZRMirvoManager {
public:
    ZRMirvoManagerImpl();
    ~ZRMirvoManagerImpl() override;

    ZRMirvoManagerImpl(const ZRMirvoManagerImpl&) = delete;
    ZRMirvoManagerImpl& operator=(const ZRMirvoManagerImpl&) = delete;

    // Ends all deliveries and destroys this object. Waits for those that are running, except inside
    // a callback.
    void release();

    const sp<ZRMirvoManagerNotifier>& notifier() const { return mManagerNotifier; }
    const sp<InstanceTable>& instances() const { return mInstances; }

    // Whether an application built for `version`, this library and the service fit together.
    static bool checkVersion(const char* version);

    bool RegisterCallback(ZRMirvoManagerCallback* cb) override;
    void UnregisterCallback(ZRMirvoManagerCallback* cb) override;
    int startup() override;
    int shutdown() override;
    int setConfigFile(const char* path) override;
    int getIds(unsigned int* ids, unsigned int* count) override;
    ZRMirvo* GetMirvoInstance(unsigned int accessoryId) override;
    void ReleaseMirvoInstance(ZRMirvo* instance) override;
    int setBluetoothConfig(const char* text, int value) override;
    int getHidDescriptor(char** data, int* length) override;
    void connect(const char* arg) override;
    void disconnect(const char* arg) override;

private:
    template <typename Call>
    int forward(const char* function, Call call);

    sp<accessory::MirvoManager> mMirvoManager;
    sp<ZRMirvoManagerNotifier> mManagerNotifier;
    const sp<InstanceTable> mInstances = new InstanceTable;
    sp<ManagerLink> mLink;
};

}  // namespace zrmirvo

#include "api/ZRMirvoManagerImpl.h"

#include <cstdio>
#include <cstring>

#include "accessory/AutoTrace.h"
#include "accessory/Status.h"
#include "api/KnownVersion.h"
#include "api/Precondition.h"

namespace zrmirvo {
namespace {

using accessory::AutoTrace;
using accessory::kFailed;
using accessory::Mirvo;
using accessory::MirvoManager;

// Nine digits fit an int. A longer number cannot be read.
constexpr const char* kTwoNumbers = "%9d.%9d";

}  // namespace

ZRMirvoManagerImpl::ZRMirvoManagerImpl() {
    AutoTrace trace(kLogTag, __func__, true);
    mMirvoManager = new MirvoManager;
    mLink = new ManagerLink(mMirvoManager);
    mManagerNotifier = new ZRMirvoManagerNotifier;
    mMirvoManager->setNotifier(mManagerNotifier);
}

ZRMirvoManagerImpl::~ZRMirvoManagerImpl() {
    {
        AutoTrace trace(kLogTag, __func__, true);
        mMirvoManager->setNotifier(nullptr);
        mMirvoManager.clear();
        mManagerNotifier.clear();
    }
    // The instances do not go with the table, because an operation under way may still hold it.
    mInstances->clear();
}

void ZRMirvoManagerImpl::release() {
    // Cleared first, so that no error that comes from now on reaches the service.
    mLink->clear();
    // All are closed before the first wait, because a callback that is waited for may still ask
    // this manager for an instance.
    mManagerNotifier->close();
    mInstances->close();
    mManagerNotifier->drain();
    mInstances->drain();
    delete this;
}

bool ZRMirvoManagerImpl::checkVersion(const char* version) {
    AutoTrace trace(kLogTag, __func__, true);
    const ZRMirvoVersion known = getVersion();
    if (!KnownVersion::hasClient(known)) {
        logError("get client version fail.\n");
        return false;
    }
    if (!KnownVersion::hasServer(known)) {
        logError("get server version fail.\n");
        return false;
    }
    int major = -1;
    int minor = -1;
    if (version == nullptr || sscanf(version, kTwoNumbers, &major, &minor) < 2 || major < 0 ||
        minor < 0) {
        logError("get user client version fail.\n");
        return false;
    }
    __android_log_print(ANDROID_LOG_INFO, kLogTag,
                        "user client version:%d.%d\nclient version:%d.%d.%d\n"
                        "server version:%d.%d.%d\n",
                        major, minor, known.clientMajor, known.clientMinor, known.clientPatch,
                        known.serverMajor, known.serverMinor, known.serverPatch);
    if (major != known.clientMajor || minor != known.clientMinor ||
        known.clientMajor != known.serverMajor || known.clientMinor != known.serverMinor) {
        __android_log_print(ANDROID_LOG_WARN, kLogTag, "version mismatching!!!\n");
        return false;
    }
    __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "matching version success.\n");
    return true;
}

template <typename Call>
int ZRMirvoManagerImpl::forward(const char* function, Call call) {
    const sp<MirvoManager> manager = mMirvoManager;
    AutoTrace trace(kLogTag, function, true);
    if (manager == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "[%s:%d] FATAL!! Mirvo Manager had not been initialized!!\n", function,
                            __LINE__);
        return kFailed;
    }
    return call(*manager);
}

bool ZRMirvoManagerImpl::RegisterCallback(ZRMirvoManagerCallback* cb) {
    const sp<ZRMirvoManagerNotifier> notifier = mManagerNotifier;
    AutoTrace trace(kLogTag, __func__, true);
    return holds(cb != nullptr, "cbObj != NULL") && notifier->setCallbackObject(cb);
}

void ZRMirvoManagerImpl::UnregisterCallback(ZRMirvoManagerCallback* cb) {
    const sp<ZRMirvoManagerNotifier> notifier = mManagerNotifier;
    AutoTrace trace(kLogTag, __func__, true);
    if (holds(cb != nullptr, "cbObj != NULL")) notifier->unsetCallbackObject(cb);
}

int ZRMirvoManagerImpl::startup() {
    return forward(__func__, [](MirvoManager& manager) { return manager.startup(); });
}

int ZRMirvoManagerImpl::shutdown() {
    return forward(__func__, [](MirvoManager& manager) { return manager.shutdown(); });
}

int ZRMirvoManagerImpl::setConfigFile(const char* path) {
    return forward(__func__, [&](MirvoManager& manager) { return manager.setConfigFile(path); });
}

int ZRMirvoManagerImpl::getIds(unsigned int* ids, unsigned int* count) {
    return forward(__func__, [&](MirvoManager& manager) { return manager.getIds(ids, count); });
}

ZRMirvo* ZRMirvoManagerImpl::GetMirvoInstance(unsigned int accessoryId) {
    const sp<MirvoManager> manager = mMirvoManager;
    const sp<InstanceTable> instances = mInstances;
    const sp<ManagerLink> link = mLink;
    AutoTrace trace(kLogTag, __func__, true);
    if (!holds(manager != nullptr, "mMirvoManager.get() != NULL")) return nullptr;
    const sp<Mirvo> mirvo = instances->closed() ? nullptr : manager->getMirvo(accessoryId);
    if (mirvo != nullptr) {
        const sp<ZRMirvoImpl> instance = new ZRMirvoImpl;
        instance->SetInstance(mirvo, link);
        // It is in the table before its first event can come, so that a release closes it, too, and
        // waits for that event.
        const int status = instances->add(instance) ? instance->listen() : kFailed;
        if (!instances->closed()) {
            if (status != 0) {
                __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                    "an instance of accessory %u receives no events: status %d\n",
                                    accessoryId, status);
            }
            return instance.get();
        }
    }
    __android_log_print(ANDROID_LOG_WARN, kLogTag, "%s can't find mirvo", __func__);
    return nullptr;
}

void ZRMirvoManagerImpl::ReleaseMirvoInstance(ZRMirvo* instance) {
    const sp<InstanceTable> instances = mInstances;
    AutoTrace trace(kLogTag, __func__, true);
    const sp<ZRMirvoImpl> released = instances->remove(instance);
    if (released != nullptr) return released->notifier()->drain();
    instances->drain();
}

int ZRMirvoManagerImpl::setBluetoothConfig(const char* text, int value) {
    return forward(__func__, [&](MirvoManager& manager) {
        MVBluetoothConfig config;
        if (text == nullptr) {
            logError("illegal parameter!\n");
            return kFailed;
        }
        const size_t length = strlen(text);
        if (length >= sizeof(config.text)) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                "a Bluetooth text has at most %zu characters\n",
                                sizeof(config.text) - 1);
            return kFailed;
        }
        config.textLength = static_cast<int32_t>(length) + 1;
        memcpy(config.text, text, length + 1);
        config.value = value;
        return manager.setBluetoothConfig(&config);
    });
}

int ZRMirvoManagerImpl::getHidDescriptor(char** data, int* length) {
    return forward(__func__, [&](MirvoManager& manager) {
        return manager.getHidDescriptor(reinterpret_cast<unsigned char**>(data), length);
    });
}

void ZRMirvoManagerImpl::connect(const char* arg) {
    forward(__func__, [&](MirvoManager& manager) { return manager.connect(arg); });
}

void ZRMirvoManagerImpl::disconnect(const char* arg) {
    forward(__func__, [&](MirvoManager& manager) { return manager.disconnect(arg); });
}

}  // namespace zrmirvo

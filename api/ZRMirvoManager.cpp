#include <zrmirvo/Version.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/String8.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "accessory/AutoTrace.h"
#include "accessory/MirvoManager.h"
#include "api/FacadeLog.h"
#include "api/ZRMirvoManagerImpl.h"
#include "protocol/ProcessState.h"

namespace zrmirvo {
namespace {

using accessory::AutoTrace;

// The one manager of the process. Never destroyed: the framework's threads may still be here while
// the process exits.
class CurrentManager {
public:
    static CurrentManager& self() {
        static auto* const kSelf = new CurrentManager;
        return *kSelf;
    }

    // The manager, made if there is none. Whoever comes while it is being made waits, unlocked.
    ZRMirvoManagerImpl* obtain() {
        {
            android::AutoMutex lock(mLock);
            while (mConstructing)
                mConstructed.wait(mLock);
            if (gmInstance != nullptr) return gmInstance;
            mConstructing = true;
        }
        auto* manager = new ZRMirvoManagerImpl;
        {
            android::AutoMutex lock(mLock);
            gmInstance = manager;
            mConstructing = false;
            mConstructed.broadcast();
        }
        android::ProcessState::self()->startThreadPool();
        return manager;
    }

    // Takes the manager out, if `instance` is it. The pointer is only compared.
    ZRMirvoManagerImpl* take(const ZRMirvoManager* instance) {
        android::AutoMutex lock(mLock);
        return gmInstance == instance ? std::exchange(gmInstance, nullptr) : nullptr;
    }

private:
    android::Mutex mLock;
    android::Condition mConstructed;
    bool mConstructing GUARDED_BY(mLock) = false;
    ZRMirvoManagerImpl* gmInstance GUARDED_BY(mLock) = nullptr;
};

// What is known of the versions, for the life of the process.
class KnownVersion {
public:
    static KnownVersion& self() {
        static auto* const kSelf = new KnownVersion;
        return *kSelf;
    }

    ZRMirvoVersion get() {
        android::AutoMutex lock(mLock);
        gmVersion.clientMajor = ZRMIRVO_VERSION_MAJOR;
        gmVersion.clientMinor = ZRMIRVO_VERSION_MINOR;
        gmVersion.clientPatch = ZRMIRVO_VERSION_PATCH;
        return gmVersion;
    }

    // Keeps the service's version for good, unless another thread was faster.
    ZRMirvoVersion setServer(const int (&numbers)[3]) {
        android::AutoMutex lock(mLock);
        if (!serverKnown(gmVersion)) {
            gmVersion.serverMajor = numbers[0];
            gmVersion.serverMinor = numbers[1];
            gmVersion.serverPatch = numbers[2];
        }
        return gmVersion;
    }

    static bool clientKnown(const ZRMirvoVersion& version) {
        return std::min({version.clientMajor, version.clientMinor, version.clientPatch}) >= 0;
    }

    static bool serverKnown(const ZRMirvoVersion& version) {
        return std::min({version.serverMajor, version.serverMinor, version.serverPatch}) >= 0;
    }

private:
    android::Mutex mLock;
    ZRMirvoVersion gmVersion GUARDED_BY(mLock) = {-1, -1, -1, -1, -1, -1};
};

void logError(const char* text) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s", text);
}

// Nine digits fit an int; a longer number cannot be read.
constexpr const char* kTwoNumbers = "%9d.%9d";
constexpr const char* kThreeNumbers = "%9d.%9d.%9d";

}  // namespace

ZRMirvoManager* ZRMirvoManager::GetInstance(const char* version) {
    AutoTrace trace(kLogTag, __func__, true);
    ZRMirvoManager* manager = CurrentManager::self().obtain();
    if (ZRMirvoManagerImpl::checkVersion(version)) return manager;
    logError("Version error : Please check version!\n");
    return nullptr;
}

void ZRMirvoManager::ReleaseInstance(ZRMirvoManager* instance) {
    AutoTrace trace(kLogTag, __func__, true);
    if (!holds(instance != nullptr, "instance != NULL")) return;
    ZRMirvoManagerImpl* manager = CurrentManager::self().take(instance);
    if (holds(manager != nullptr, "pImpl != NULL")) manager->release();
}

ZRMirvoVersion ZRMirvoManager::getVersion() {
    const ZRMirvoVersion known = KnownVersion::self().get();
    if (KnownVersion::serverKnown(known)) return known;
    const android::String8 text = accessory::MirvoManager::getVersion();
    int numbers[3];
    if (sscanf(text.string(), kThreeNumbers, &numbers[0], &numbers[1], &numbers[2]) < 3) {
        logError("get version number error!\n");
        return known;
    }
    if (std::min({numbers[0], numbers[1], numbers[2]}) < 0) {
        logError("get version error!\n");
        return known;
    }
    return KnownVersion::self().setServer(numbers);
}

bool ZRMirvoManagerImpl::checkVersion(const char* version) {
    AutoTrace trace(kLogTag, __func__, true);
    const ZRMirvoVersion known = getVersion();
    if (!KnownVersion::clientKnown(known)) {
        logError("get client version fail.\n");
        return false;
    }
    if (!KnownVersion::serverKnown(known)) {
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

}  // namespace zrmirvo

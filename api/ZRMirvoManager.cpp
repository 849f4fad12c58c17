#include <zrmirvo/Version.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <utils/String8.h>

#include <algorithm>
#include <cstdio>

#include "accessory/AutoTrace.h"
#include "accessory/MirvoManager.h"
#include "api/CurrentManager.h"
#include "api/KnownVersion.h"
#include "api/Precondition.h"

namespace zrmirvo {
namespace {

using accessory::AutoTrace;

// Nine digits fit an int. A longer number cannot be read.
constexpr const char* kThreeNumbers = "%9d.%9d.%9d";

}  // namespace

ZRMirvoManager* ZRMirvoManager::GetInstance(const char* version) {
    AutoTrace trace(kLogTag, __func__, true);
    CurrentManager::self().obtain();
    if (!ZRMirvoManagerImpl::checkVersion(version)) {
        logError("Version error : Please check version!\n");
        return nullptr;
    }
    // Obtained once more, because another thread may have released the manager during the check.
    return CurrentManager::self().obtain();
}

void ZRMirvoManager::ReleaseInstance(ZRMirvoManager* instance) {
    AutoTrace trace(kLogTag, __func__, true);
    if (!holds(instance != nullptr, "instance != NULL")) return;
    if (CurrentManager::self().release(instance)) return;
    CurrentManager::self().awaitReleases();
    holds(false, "pImpl != NULL");
}

ZRMirvoVersion ZRMirvoManager::getVersion() {
    const ZRMirvoVersion known = KnownVersion::self().get();
    if (KnownVersion::hasServer(known)) return known;
    const android::String8 text = accessory::MirvoManager::getVersion();
    int numbers[3];
    if (sscanf(text.c_str(), kThreeNumbers, &numbers[0], &numbers[1], &numbers[2]) < 3) {
        logError("get version number error!\n");
        return known;
    }
    if (std::min({numbers[0], numbers[1], numbers[2]}) < 0) {
        logError("get version error!\n");
        return known;
    }
    return KnownVersion::self().setServer(numbers);
}

}  // namespace zrmirvo

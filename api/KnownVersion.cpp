#include "api/KnownVersion.h"

#include <zrmirvo/Version.h>

#include <algorithm>

namespace zrmirvo {

KnownVersion& KnownVersion::self() {
    // Never destroyed: the framework's threads may still be here while the process exits.
    static auto* const kSelf = new KnownVersion;
    return *kSelf;
}

ZRMirvoVersion KnownVersion::get() {
    android::AutoMutex lock(mLock);
    gmVersion.clientMajor = ZRMIRVO_VERSION_MAJOR;
    gmVersion.clientMinor = ZRMIRVO_VERSION_MINOR;
    gmVersion.clientPatch = ZRMIRVO_VERSION_PATCH;
    return gmVersion;
}

ZRMirvoVersion KnownVersion::setServer(const int (&numbers)[3]) {
    android::AutoMutex lock(mLock);
    if (!hasServer(gmVersion)) {
        gmVersion.serverMajor = numbers[0];
        gmVersion.serverMinor = numbers[1];
        gmVersion.serverPatch = numbers[2];
    }
    return gmVersion;
}

bool KnownVersion::hasClient(const ZRMirvoVersion& version) {
    return std::min({version.clientMajor, version.clientMinor, version.clientPatch}) >= 0;
}

bool KnownVersion::hasServer(const ZRMirvoVersion& version) {
    return std::min({version.serverMajor, version.serverMinor, version.serverPatch}) >= 0;
}

}  // namespace zrmirvo

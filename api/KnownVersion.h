#pragma once

#include <utils/Mutex.h>
#include <zrmirvo/ZRMirvoManager.h>

namespace zrmirvo {

// What is known of the versions of library and service, for the life of the process. Thread-safe.
class KnownVersion {
public:
    static KnownVersion& self();

    ZRMirvoVersion get();

    // Keeps the service's version for good, unless another thread was faster. Returns what is kept.
    ZRMirvoVersion setServer(const int (&numbers)[3]);

    static bool hasClient(const ZRMirvoVersion& version);
    static bool hasServer(const ZRMirvoVersion& version);

private:
    android::Mutex mLock;
    ZRMirvoVersion gmVersion GUARDED_BY(mLock) = {-1, -1, -1, -1, -1, -1};
};

}  // namespace zrmirvo

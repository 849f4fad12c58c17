#include "standin/UniqueFd.h"

#include <cerrno>

namespace accessory::standin {

void UniqueFd::reset(int fd) {
    const int old = std::exchange(mFd, fd);
    if (old < 0) return;
    const int error = errno;
    close(old);
    errno = error;
}

}  // namespace accessory::standin

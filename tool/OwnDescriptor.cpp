#include "tool/OwnDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <string>

namespace tool {

OwnDescriptor::OwnDescriptor(int shared, int access) : mShared(shared), mAccess(access) {
    renew();
}

OwnDescriptor::~OwnDescriptor() {
    if (mOwn >= 0) close(mOwn);
}

void OwnDescriptor::renew() {
    if (mOwn >= 0) close(mOwn);
    mOwn = -1;
    struct stat status = {};
    const bool isPipe = fstat(mShared, &status) == 0 && S_ISFIFO(status.st_mode);
    if (!isPipe && isatty(mShared) != 1) return;
    const int flags = mAccess | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    mOwn = open(("/proc/self/fd/" + std::to_string(mShared)).c_str(), flags);
    // After `su` it belongs to another user, but the terminal that controls a process is open to
    // it.
    if (mOwn < 0 && tcgetsid(mShared) >= 0) mOwn = open("/dev/tty", flags);
}

}  // namespace tool

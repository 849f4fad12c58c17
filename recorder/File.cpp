#include "recorder/File.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "recorder/Log.h"

namespace recorder {

File::~File() {
    forget();
    if (mFolder >= 0) close(mFolder);
}

bool File::open(const std::string& path) {
    mPath = path;
    const size_t slash = path.rfind('/');
    mName = path.substr(slash + 1);
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    // The application may change its working folder later on.
    mFolder = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0) {
        logError("no recording: cannot use the folder of %s: %s", path.c_str(),
                 errorText(errno).c_str());
        return false;
    }
    return openNew(0);
}

// Opens the file without emptying it. Another process may be recording into it, which only the lock
// tells.
bool File::openNew(int flags) {
    const int file = openat(mFolder, mName.c_str(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0600);
    if (file < 0) {
        // What the system says of a link, "too many levels of symbolic links", misleads.
        const std::string why =
            errno == ELOOP ? "it is a symbolic link, which is never followed" : errorText(errno);
        logError("no recording: cannot open %s: %s", mPath.c_str(), why.c_str());
        return false;
    }
    struct stat found = {};
    const char* fault = nullptr;
    if (fstat(file, &found) != 0 || !S_ISREG(found.st_mode)) {
        fault = "it is no ordinary file, and no other is written to";
    } else if (found.st_uid != geteuid()) {
        fault = "it belongs to another user";
    } else if (found.st_nlink != 1) {
        fault = "it has a second name (a hard link), under which somebody else may need it";
    } else if (flock(file, LOCK_EX | LOCK_NB) != 0) {
        fault = "another process records into it; %p in the name is the process";
    } else if (fchmod(file, 0600) != 0 || ftruncate(file, 0) != 0) {
        fault = "it cannot be emptied";
    }
    if (fault != nullptr) {
        logError("no recording into %s: %s", mPath.c_str(), fault);
        close(file);
        return false;
    }
    mFile = file;
    mSize = 0;
    return true;
}

bool File::write(const std::vector<uint8_t>& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(mFile, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            logError("the recording %s ends here: %s", mPath.c_str(), errorText(errno).c_str());
            // A part of the last block may have been written. It stays, since readers accept a file
            // that ends inside a block.
            return false;
        }
        done += static_cast<size_t>(count);
    }
    mSize += bytes.size();
    return true;
}

bool File::startAgain() {
    const std::string old = mName + ".old";
    if (renameat(mFolder, mName.c_str(), mFolder, old.c_str()) != 0) {
        logError("the recording %s ends here: %s", mPath.c_str(), errorText(errno).c_str());
        return false;
    }
    close(mFile.exchange(-1));
    return openNew(O_EXCL);
}

void File::forget() {
    const int file = mFile.exchange(-1);
    if (file >= 0) close(file);
}

}  // namespace recorder

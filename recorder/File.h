#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

// The file that is being written. It belongs to this process alone: it is locked, new or empty,
// readable by its owner only, and never reached through a link. One thread at a time.
class File {
public:
    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // False, with one line in the log, when there can be no such file.
    bool open(const std::string& path);

    // Appends all of `bytes`. False, with one line in the log, when there is room for a part of
    // them only.
    bool write(const std::vector<uint8_t>& bytes);

    // Gives the file its second name, ".old" behind the first, and begins another. False, with one
    // line in the log, when it cannot.
    bool startAgain();

    uint64_t size() const { return mSize; }

    // In a forked child, to which neither file nor lock belongs.
    void forget();

private:
    bool openNew(int flags);

    std::string mPath;
    std::string mName;
    int mFolder = -1;
    std::atomic<int> mFile{-1};
    uint64_t mSize = 0;
};

}  // namespace recorder

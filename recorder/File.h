#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

// The file that is being written. It belongs to this process alone: it is locked, was emptied when
// it was opened, can be read by its owner only, and is never opened through a link. One thread at a
// time.
class File {
public:
    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // False, with one line in the log, when the file cannot be made or may not be used.
    bool open(const std::string& path);

    // Appends all of `bytes`. False, with one line in the log, when not all could be written.
    bool write(const std::vector<uint8_t>& bytes);

    // Renames the file to its name with ".old" behind it, and begins a new one. False, with one
    // line in the log, when this fails.
    bool startAgain();

    uint64_t size() const { return mSize; }

    // For a forked child, to which neither the file nor its lock belongs: closes the descriptor.
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

#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <vector>

#include "recording/Record.h"

namespace recording {

// A file that is no recording; what() says why, and where.
class Malformed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a recording from its beginning to its end, also one that other tools for pcapng have cut,
// merged or added to. Whatever the file says, it takes no more memory than the file is long. One
// thread at a time.
class Reader {
public:
    // `file` can be moved about in, and stays as long as the reader does.
    explicit Reader(std::istream& file);

    // The next record, whose content stays until the next call. False at the end. Throws Malformed.
    bool next(Record& record);

    // Whether the end lacks something of a block, as after a crash. Asked for when next() has
    // answered false.
    bool torn() const { return mTorn; }

private:
    [[noreturn]] void malformed(const char* what) const;
    bool nextBlock(uint32_t& type);
    bool nextPacket(Record& packet);
    void readSection();
    void readInterface();
    bool readPacket(Record& packet) const;
    void assemble(Record& record);

    std::istream& mFile;
    uint64_t mSize = 0;
    uint64_t mPlace = 0;  // of the block that is being read
    uint64_t mNext = 0;
    bool mTorn = false;
    bool mInSection = false;
    std::vector<uint8_t> mBlock;  // what is between a block's lengths
    // How long a tick of each interface is, in nanoseconds; 0 where the packets are not ours.
    std::vector<uint64_t> mTicks;
    std::vector<uint8_t> mContent;  // of a message in several parts
    std::optional<Record> mAhead;   // read already, since it might have been one of them
};

}  // namespace recording

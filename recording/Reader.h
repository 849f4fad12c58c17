#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <vector>

#include "recording/Record.h"

namespace recording {

// Thrown for a file that is no recording. what() says why, and where.
class Malformed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a recording from its beginning to its end. Other tools for pcapng may have cut or merged
// the file, or added to it. Reading never takes more memory than the file is long, whatever the
// file says. One thread at a time.
class Reader {
public:
    // `file` must allow seeking, and must stay as long as the reader does.
    explicit Reader(std::istream& file);

    // Reads the next record. Its content stays until the next call. False at the end. Throws
    // Malformed.
    bool next(Record& record);

    // Whether the file ends inside a block, as after a crash. Known when next() has returned false.
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
    std::vector<uint8_t> mBlock;  // the bytes between the two lengths of a block
    // How long a tick of each interface is, in nanoseconds; 0 when the packets are not ours.
    std::vector<uint64_t> mTicks;
    std::vector<uint8_t> mContent;  // of a message in several packets
    std::optional<Record> mAhead;   // read too early, to see whether it belongs to this message
};

}  // namespace recording

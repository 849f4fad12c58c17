#include "recording/Reader.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "recording/Pcapng.h"

namespace recording {
namespace {

using namespace pcapng;

template <typename Value>
Value at(const std::vector<uint8_t>& bytes, size_t place) {
    Value value;
    std::memcpy(&value, bytes.data() + place, sizeof(value));
    return value;
}

bool isKnown(uint32_t type) {
    return type == kSection || type == kInterface || type == kPacket;
}

}  // namespace

bool readBeginning(const Record& record, Beginning& beginning) {
    uint32_t numbers[3];
    if (record.frame.kind != FrameKind::kBegin || record.size <= sizeof(numbers)) return false;
    std::memcpy(numbers, record.content, sizeof(numbers));
    const auto* text = reinterpret_cast<const char*>(record.content + sizeof(numbers));
    const size_t length = record.size - sizeof(numbers);
    if (std::memchr(text, 0, length) == nullptr) return false;
    beginning = {numbers[0], numbers[1], static_cast<uint16_t>(numbers[2]), text};
    return true;
}

Reader::Reader(std::istream& file) : mFile(file) {
    const auto end = file.seekg(0, std::ios::end).tellg();
    if (!file || end < 0) throw Malformed("the file cannot be read");
    mSize = static_cast<uint64_t>(end);
}

void Reader::malformed(const char* what) const {
    throw Malformed("byte " + std::to_string(mPlace) + ": " + what);
}

// Reads the next block of a kind that is used here into mBlock.
bool Reader::nextBlock(uint32_t& type) {
    for (;;) {
        mPlace = mNext;
        const uint64_t left = mSize - mPlace;
        uint32_t head[2];
        mTorn = left > 0 && left < kBlockFrame;
        if (left < kBlockFrame) return false;
        mFile.seekg(static_cast<std::streamoff>(mPlace));
        if (!mFile.read(reinterpret_cast<char*>(head), sizeof(head))) malformed("cannot be read");
        type = head[0];
        const uint32_t length = head[1];
        if (!mInSection && type != kSection) malformed("this is no pcapng file");
        if (length < kBlockFrame || length % 4 != 0) malformed("a block of an impossible length");
        mTorn = length > left;
        if (mTorn) return false;
        mNext = mPlace + length;
        if (!isKnown(type)) continue;

        mBlock.resize(length - sizeof(head));
        if (!mFile.read(reinterpret_cast<char*>(mBlock.data()),
                        static_cast<std::streamsize>(mBlock.size()))) {
            malformed("cannot be read");
        }
        if (at<uint32_t>(mBlock, mBlock.size() - sizeof(length)) != length) {
            malformed("a block whose two lengths differ");
        }
        mBlock.resize(mBlock.size() - sizeof(length));
        return true;
    }
}

void Reader::readSection() {
    if (mBlock.size() < 16) malformed("a section that is too short");
    const auto order = at<uint32_t>(mBlock, 0);
    if (order == kOtherByteOrder) malformed("a section of a machine with the other byte order");
    if (order != kByteOrder) malformed("this is no pcapng file");
    if (at<uint16_t>(mBlock, 4) != kMajorVersion) malformed("a section of an unknown version");
    mTicks.clear();
    mInSection = true;
}

void Reader::readInterface() {
    if (mBlock.size() < 8) malformed("an interface that is too short");
    uint8_t digits = kMicroseconds;
    for (size_t place = 8; place + 4 <= mBlock.size();) {
        const auto code = at<uint16_t>(mBlock, place);
        const auto length = at<uint16_t>(mBlock, place + 2);
        place += 4;
        if (code == kEnd) break;
        if (length > mBlock.size() - place) malformed("an option that is longer than its block");
        if (code == kInterfaceTicks && length == 1) digits = mBlock[place];
        place += (length + 3u) & ~3u;
    }
    uint64_t tick = at<uint16_t>(mBlock, 0) == kUser0 ? 1 : 0;
    if (tick != 0 && digits > kNanoseconds) malformed("an interface with times that are too fine");
    for (; digits < kNanoseconds; ++digits)
        tick *= 10;
    mTicks.push_back(tick);
}

// False when the packet is somebody else's.
bool Reader::readPacket(Record& packet) const {
    constexpr size_t kContent = kPacketHead + sizeof(RecordHeader) + sizeof(FrameHeader);
    if (mBlock.size() < kPacketHead) malformed("a packet that is too short");
    const auto interface = at<uint32_t>(mBlock, 0);
    const auto captured = at<uint32_t>(mBlock, 12);
    if (interface >= mTicks.size()) malformed("a packet of an unknown interface");
    if (captured > mBlock.size() - kPacketHead) malformed("a packet longer than its block");
    if (mTicks[interface] == 0) return false;
    if (kPacketHead + captured < kContent) malformed("a record that is too short");
    const uint64_t high = at<uint32_t>(mBlock, 4);
    packet.wall = (high << 32 | at<uint32_t>(mBlock, 8)) * mTicks[interface];
    packet.header = at<RecordHeader>(mBlock, kPacketHead);
    packet.frame = at<FrameHeader>(mBlock, kPacketHead + sizeof(RecordHeader));
    packet.content = mBlock.data() + kContent;
    packet.size = kPacketHead + captured - kContent;
    if (packet.header.version != kRecordVersion || packet.frame.version != accessory::kWireVersion)
        malformed("a record of an unknown version");
    if (packet.frame.offset > packet.frame.length ||
        packet.size > packet.frame.length - packet.frame.offset) {
        malformed("a record with more content than it says");
    }
    return true;
}

bool Reader::nextPacket(Record& packet) {
    uint32_t type = 0;
    while (nextBlock(type)) {
        if (type == kSection) {
            readSection();
        } else if (type == kInterface) {
            readInterface();
        } else if (readPacket(packet)) {
            return true;
        }
    }
    return false;
}

bool Reader::next(Record& record) {
    if (mAhead) {
        record = *mAhead;
        mAhead.reset();
    } else if (!nextPacket(record)) {
        return false;
    }
    if (record.frame.offset == 0 && record.size < record.frame.length) assemble(record);
    return true;
}

// A long content is split over several packets, one behind the other.
void Reader::assemble(Record& record) {
    mContent.assign(record.content, record.content + record.size);
    Record part;
    while (mContent.size() < record.frame.length && nextPacket(part)) {
        FrameHeader expected = record.frame;
        expected.offset = static_cast<uint32_t>(mContent.size());
        if (std::memcmp(&part.frame, &expected, sizeof(expected)) != 0) {
            mAhead = part;
            break;
        }
        mContent.insert(mContent.end(), part.content, part.content + part.size);
    }
    record.content = mContent.data();
    record.size = mContent.size();
}

}  // namespace recording

#include "recording/Writer.h"

#include <algorithm>
#include <cstring>

#include "recording/Pcapng.h"

namespace recording {
namespace {

using namespace pcapng;

uint32_t directionOf(FrameKind kind) {
    switch (kind) {
        case FrameKind::kRequest:
            return kOutbound;
        case FrameKind::kReply:
        case FrameKind::kNoReply:
        case FrameKind::kNotify:
        case FrameKind::kStatus:
            return kInbound;
        default:
            return 0;
    }
}

// The comment of a packet that holds no message. Tools for pcapng show it.
std::string commentOn(const Record& record) {
    const auto binding = [&] { return "binding " + std::to_string(record.header.binding); };
    uint64_t missing = 0;
    switch (record.frame.kind) {
        case FrameKind::kBound:
            return binding() + " was made";
        case FrameKind::kNotBound:
            return "there is no service to bind to";
        case FrameKind::kUnbound:
            return binding() + " was released";
        case FrameKind::kGap:
            std::memcpy(&missing, record.content, std::min(record.size, sizeof(missing)));
            return std::to_string(missing) + " records are missing here";
        default:
            return {};
    }
}

}  // namespace

void Writer::append(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    mBytes.insert(mBytes.end(), bytes, bytes + size);
}

template <typename Number>
void Writer::number(Number value) {
    append(&value, sizeof(value));
}

void Writer::pad() {
    mBytes.resize((mBytes.size() + 3) & ~size_t{3});
}

// Returns where the block begins, for close().
size_t Writer::open(uint32_t type) {
    const size_t block = mBytes.size();
    number(type);
    number(uint32_t{0});
    return block;
}

void Writer::option(uint16_t code, const void* data, size_t size) {
    number(code);
    number(static_cast<uint16_t>(size));
    append(data, size);
    pad();
}

void Writer::option(uint16_t code, const std::string& text) {
    option(code, text.data(), std::min<size_t>(text.size(), UINT16_MAX));
}

void Writer::close(size_t block) {
    number(uint32_t{kEnd});
    const auto length = static_cast<uint32_t>(mBytes.size() - block + sizeof(uint32_t));
    number(length);
    std::memcpy(mBytes.data() + block + sizeof(uint32_t), &length, sizeof(length));
}

void Writer::addInterface(const std::string& name) {
    const size_t block = open(kInterface);
    number(kUser0);
    number(uint16_t{0});
    number(uint32_t{0});  // there is no limit to the length of packets
    option(kInterfaceName, name);
    option(kInterfaceTicks, &kNanoseconds, sizeof(kNanoseconds));
    close(block);
}

uint32_t Writer::interfaceOf(uint32_t binding) {
    const auto [place, isNew] =
        mInterfaces.try_emplace(binding, static_cast<uint32_t>(mInterfaces.size()));
    if (isNew) addInterface(binding == 0 ? "process" : "binding " + std::to_string(binding));
    return place->second;
}

void Writer::begin(const Beginning& beginning, uint64_t wall, uint64_t monotonic) {
    mInterfaces.clear();
    const std::string process = beginning.program + ", process " +
                                std::to_string(beginning.process) + ", file " +
                                std::to_string(beginning.file);
    const size_t block = open(kSection);
    number(kByteOrder);
    number(kMajorVersion);
    number(uint16_t{0});
    number(int64_t{-1});  // the length of the section is not known yet
    option(kComment, process);
    option(kSectionProgram, "zrmirvo-recorder");
    close(block);

    std::vector<uint8_t> content(3 * sizeof(uint32_t));
    const uint32_t numbers[] = {beginning.process, beginning.file, beginning.leftOut};
    std::memcpy(content.data(), numbers, sizeof(numbers));
    content.insert(content.end(), beginning.program.begin(), beginning.program.end());
    content.push_back(0);
    Record record;
    record.header.monotonic = monotonic;
    record.wall = wall;
    record.frame.kind = FrameKind::kBegin;
    record.frame.length = static_cast<uint32_t>(content.size());
    record.content = content.data();
    record.size = content.size();
    add(record);
}

void Writer::add(const Record& record) {
    const uint32_t interface = interfaceOf(record.header.binding);
    uint32_t offset = 0;
    do {
        addPart(record, interface, offset);
        offset += accessory::kMaxPart;
    } while (offset < record.size);
}

void Writer::addPart(const Record& record, uint32_t interface, uint32_t offset) {
    FrameHeader frame = record.frame;
    frame.offset = offset;
    const size_t part = std::min(record.size - offset, accessory::kMaxPart);
    const auto length = static_cast<uint32_t>(sizeof(RecordHeader) + sizeof(frame) + part);
    const size_t block = open(kPacket);
    const uint32_t head[] = {interface, static_cast<uint32_t>(record.wall >> 32),
                             static_cast<uint32_t>(record.wall), length, length};
    append(head, sizeof(head));
    append(&record.header, sizeof(RecordHeader));
    append(&frame, sizeof(frame));
    if (part > 0) append(record.content + offset, part);
    pad();
    const uint32_t direction = directionOf(record.frame.kind);
    if (direction != 0) option(kPacketFlags, &direction, sizeof(direction));
    const std::string comment = commentOn(record);
    if (!comment.empty()) option(kComment, comment);
    close(block);
}

}  // namespace recording

#pragma once

#include <cstddef>
#include <cstdint>

// The parts of the file format pcapng that are used here.

namespace recording::pcapng {

constexpr uint32_t kSection = 0x0a0d0d0a;
constexpr uint32_t kInterface = 1;
constexpr uint32_t kPacket = 6;

constexpr uint32_t kByteOrder = 0x1a2b3c4d;
constexpr uint32_t kOtherByteOrder = 0x4d3c2b1a;
constexpr uint16_t kMajorVersion = 1;
constexpr uint16_t kUser0 = 147;  // the first link type that is left to users

constexpr uint16_t kEnd = 0;
constexpr uint16_t kComment = 1;
constexpr uint16_t kSectionProgram = 4;
constexpr uint16_t kInterfaceName = 2;
constexpr uint16_t kInterfaceTicks = 9;
constexpr uint16_t kPacketFlags = 2;

constexpr uint8_t kNanoseconds = 9;
constexpr uint8_t kMicroseconds = 6;
constexpr uint32_t kInbound = 1;
constexpr uint32_t kOutbound = 2;

// What surrounds each block: type and length before it, and the length again behind it.
constexpr size_t kBlockFrame = 12;
// What an enhanced packet has before its bytes: interface, time, captured and original length.
constexpr size_t kPacketHead = 20;

}  // namespace recording::pcapng

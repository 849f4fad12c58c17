#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "recording/Reader.h"
#include "recording/Writer.h"

// The file of a recording: what the writer makes, byte by byte, and what the reader makes of files
// that are good, cut off, edited by others, or none.

namespace recording {
namespace {

using Bytes = std::vector<uint8_t>;

// Hexadecimal digits, and words in quotes.
Bytes bytes(const std::string& text) {
    Bytes result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') {
            for (++i; text[i] != '\''; ++i)
                result.push_back(static_cast<uint8_t>(text[i]));
        } else if (text[i] != ' ') {
            result.push_back(static_cast<uint8_t>(std::stoi(text.substr(i++, 2), nullptr, 16)));
        }
    }
    return result;
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string kContent = "01 00 00 00 ff ff ff ff";

Record request(const Bytes& content) {
    Record record;
    record.header = {1, kLeftOutText, 4711, 3, 0, 0x1122, 0};
    record.frame = {1, FrameKind::kRequest, 131, 9, static_cast<uint32_t>(content.size()), 0};
    record.wall = 0x1'0000'0002;
    record.content = content.data();
    record.size = content.size();
    return record;
}

const Bytes kSectionBlock = bytes(
    "0a0d0d0a 50000000 4d3c2b1a 0100 0000 ffffffffffffffff"
    "0100 1700 'app, process 77, file 1' 00"
    "0400 1000 'zrmirvo-recorder' 00000000 50000000");
const Bytes kProcessBlock = bytes(
    "01000000 2c000000 9300 0000 00000000"
    "0200 0700 'process' 00 0900 0100 09000000 00000000 2c000000");
const Bytes kBindingBlock = bytes(
    "01000000 30000000 9300 0000 00000000"
    "0200 0900 'binding 3' 000000 0900 0100 09000000 00000000 30000000");
const Bytes kBeginBlock = bytes(
    "06000000 68000000 00000000 00000000 07000000 44000000 44000000"
    "0100 0000 00000000 00000000 00000000 0800000000000000 0000000000000000"
    "0100 6400 00000000 00000000 10000000 00000000"
    "4d000000 01000000 02000000 'app' 00 00000000 68000000");
const Bytes kRequestBlock = bytes(
    "06000000 68000000 01000000 01000000 02000000 3c000000 3c000000"
    "0100 0200 67120000 03000000 00000000 2211000000000000 0000000000000000"
    "0100 0100 83000000 09000000 08000000 00000000" +
    kContent + "0200 0400 02000000 00000000 68000000");

TEST(RecordingTest, theWriterMakesBlocksOfPcapng) {
    Writer writer;
    writer.begin({77, 1, kLeftOutText, "app"}, /*wall=*/7, /*monotonic=*/8);
    const Bytes content = bytes(kContent);
    writer.add(request(content));
    EXPECT_EQ(writer.bytes(),
              kSectionBlock + kProcessBlock + kBeginBlock + kBindingBlock + kRequestBlock);
}

// What a reader makes of a file: each record as kind, sequence and size, and how it ends.
std::string read(const Bytes& file) {
    std::istringstream stream(std::string(file.begin(), file.end()));
    std::ostringstream seen;
    try {
        Reader reader(stream);
        Record record;
        while (reader.next(record)) {
            seen << static_cast<int>(record.frame.kind) << ":" << record.frame.sequence << ":"
                 << record.size << " ";
        }
        seen << (reader.torn() ? "torn" : "end");
    } catch (const Malformed& error) {
        seen << error.what();
    }
    return seen.str();
}

const Bytes kFile = kSectionBlock + kProcessBlock + kBeginBlock + kBindingBlock + kRequestBlock;

TEST(RecordingTest, theReaderGivesWhatWasWritten) {
    std::istringstream stream(std::string(kFile.begin(), kFile.end()));
    Reader reader(stream);
    Record record;
    Beginning beginning;
    ASSERT_TRUE(reader.next(record) && readBeginning(record, beginning));
    EXPECT_EQ(beginning.process, 77u);
    EXPECT_EQ(beginning.file, 1u);
    EXPECT_EQ(beginning.leftOut, kLeftOutText);
    EXPECT_EQ(beginning.program, "app");
    EXPECT_EQ(record.wall, 7u);
    ASSERT_TRUE(reader.next(record));
    const Bytes content = bytes(kContent);
    const Record expected = request(content);
    EXPECT_EQ(memcmp(&record.header, &expected.header, sizeof(RecordHeader)), 0);
    EXPECT_EQ(memcmp(&record.frame, &expected.frame, sizeof(FrameHeader)), 0);
    EXPECT_EQ(record.wall, expected.wall);
    EXPECT_EQ(Bytes(record.content, record.content + record.size), content);
    EXPECT_FALSE(reader.next(record));
}

TEST(RecordingTest, aFileMayEndAnywhere) {
    const size_t beginning = (kSectionBlock + kProcessBlock + kBeginBlock).size();
    const Bytes ends[] = {kSectionBlock,
                          kSectionBlock + kProcessBlock,
                          kSectionBlock + kProcessBlock + kBeginBlock,
                          kSectionBlock + kProcessBlock + kBeginBlock + kBindingBlock,
                          {}};
    for (size_t size = 0; size < kFile.size(); ++size) {
        const Bytes part(kFile.begin(), kFile.begin() + static_cast<std::ptrdiff_t>(size));
        bool whole = false;
        for (const Bytes& end : ends)
            whole = whole || part == end;
        EXPECT_EQ(read(part),
                  std::string(size < beginning ? "" : "100:0:16 ") + (whole ? "end" : "torn"))
            << size;
    }
}

// `file` with the bytes at `place` replaced.
Bytes with(Bytes file, size_t place, const std::string& text) {
    const Bytes other = bytes(text);
    std::copy(other.begin(), other.end(), file.begin() + static_cast<std::ptrdiff_t>(place));
    return file;
}

TEST(RecordingTest, aFileThatIsNoneIsRefused) {
    const size_t interface = kSectionBlock.size();
    const size_t packet = kFile.size() - kRequestBlock.size();
    const std::string at0 = "byte 0: ";
    const std::string before = "100:0:16 ";
    const std::string atInterface = "byte " + std::to_string(interface) + ": ";
    const std::string atPacket = "100:0:16 byte " + std::to_string(packet) + ": ";
    const struct {
        Bytes file;
        std::string says;
    } kRows[] = {
        {bytes("'#!/bin/sh and so on'"), at0 + "this is no pcapng file"},
        {kProcessBlock, at0 + "this is no pcapng file"},
        {with(kFile, 8, "1a2b3c4d"), at0 + "a section of a machine with the other byte order"},
        {with(kFile, 8, "00000000"), at0 + "this is no pcapng file"},
        {with(kFile, 12, "02"), at0 + "a section of an unknown version"},
        {with(kFile, 4, "00"), at0 + "a block of an impossible length"},
        {with(kFile, 4, "4e"), at0 + "a block of an impossible length"},
        {with(kFile, 4, "4c"), at0 + "a block whose two lengths differ"},
        {with(kFile, interface + 18, "ff"),
         atInterface + "an option that is longer than its block"},
        {with(kFile, interface + 32, "0c"),
         atInterface + "an interface with times that are too fine"},
        {with(kFile, packet + 8, "02"), atPacket + "a packet of an unknown interface"},
        {with(kFile, packet + 20, "ffffffff"), atPacket + "a packet longer than its block"},
        {with(kFile, packet + 20, "33"), atPacket + "a record that is too short"},
        {with(kFile, packet + 28, "02"), atPacket + "a record of an unknown version"},
        {with(kFile, packet + 60, "02"), atPacket + "a record of an unknown version"},
        {with(kFile, packet + 72, "07"), atPacket + "a record with more content than it says"},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(read(row.file), row.says);
}

TEST(RecordingTest, whatOthersAddedOrCutIsNoFault) {
    const Bytes head = kSectionBlock + kProcessBlock + kBeginBlock + kBindingBlock;
    const Bytes statistics = bytes("05000000 18000000 00000000 00000000 00000000 18000000");
    const Bytes ethernet = bytes("01000000 14000000 0100 0000 00000000 14000000");
    const Bytes frame = bytes(
        "06000000 24000000 02000000 00000000 00000000 04000000 04000000"
        "'abcd' 24000000");
    const Bytes empty =
        bytes("06000000 20000000 02000000 00000000 00000000 00000000 00000000 20000000");
    EXPECT_EQ(read(head + statistics + ethernet + frame + empty + kRequestBlock),
              "100:0:16 1:9:8 end");
    // Two files behind one another.
    EXPECT_EQ(read(kFile + kFile), "100:0:16 1:9:8 100:0:16 1:9:8 end");
    // The content cut.
    EXPECT_EQ(read(with(kFile, kFile.size() - kRequestBlock.size() + 20, "36")),
              "100:0:16 1:9:2 end");
    // Times in microseconds.
    const Bytes slow = with(kFile, kSectionBlock.size() + 32, "06");
    std::istringstream stream(std::string(slow.begin(), slow.end()));
    Reader reader(stream);
    Record record;
    ASSERT_TRUE(reader.next(record));
    EXPECT_EQ(record.wall, 7000u);
}

TEST(RecordingTest, aLongContentIsPutTogetherFromItsParts) {
    Bytes content(2 * accessory::kMaxPart + 5);
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<uint8_t>(i * 7 >> 3);
    Writer writer;
    writer.begin({77, 1, 0, "app"}, 7, 8);
    const size_t first = writer.bytes().size();
    writer.add(request(content));
    writer.add(request(bytes(kContent)));
    const Bytes file = writer.bytes();
    std::istringstream stream(std::string(file.begin(), file.end()));
    Reader reader(stream);
    Record record;
    ASSERT_TRUE(reader.next(record));
    ASSERT_TRUE(reader.next(record));
    EXPECT_EQ(Bytes(record.content, record.content + record.size), content);

    // Without its second part: the first, the third, and what follows.
    const size_t block = 12 + 20 + 52 + accessory::kMaxPart + 12;
    const size_t second = first + kBindingBlock.size() + block;
    Bytes cut = file;
    cut.erase(cut.begin() + static_cast<std::ptrdiff_t>(second),
              cut.begin() + static_cast<std::ptrdiff_t>(second + block));
    EXPECT_EQ(read(cut), "100:0:16 1:9:81900 1:9:5 1:9:8 end");
}

}  // namespace
}  // namespace recording

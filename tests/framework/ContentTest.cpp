#include "framework/Content.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace accessory::framework {
namespace {

std::vector<uint8_t> bytesOf(const WriteContent& content) {
    return {content.content(), content.content() + content.size()};
}

TEST(Content, writesTheBytesOfTheWireForm) {
    const sp<WriteContent> content = new WriteContent;
    EXPECT_EQ(content->writeInt32(0x01020304), 0);
    EXPECT_EQ(content->writeInt64(-2), 0);
    EXPECT_EQ(content->writeCString("ab"), 0);
    EXPECT_EQ(content->writeCString(""), 0);
    EXPECT_EQ(content->writeBuffer("xyz", 3), 0);
    EXPECT_EQ(content->writeBuffer(nullptr, 0), 0);
    const std::vector<uint8_t> expected{4,    3,    2,   1,   0xfe, 0xff, 0xff, 0xff, 0xff, 0xff,
                                        0xff, 0xff, 'a', 'b', 0,    0,    'x',  'y',  'z'};
    EXPECT_EQ(bytesOf(*content), expected);
    // What cannot be written leaves no trace.
    EXPECT_EQ(content->writeCString(nullptr), EINVAL);
    EXPECT_EQ(content->writeBuffer(nullptr, 1), EINVAL);
    EXPECT_EQ(content->writeBuffer("x", -1), EINVAL);
    EXPECT_NE(content->reserved1(), 0);
    EXPECT_NE(content->reserved2(), 0);
    EXPECT_EQ(bytesOf(*content), expected);
    content->clear();
    EXPECT_EQ(content->size(), 0u);
}

TEST(Content, endsAtTheLimit) {
    const sp<WriteContent> content = new WriteContent;
    const std::vector<uint8_t> block(kMaxContent - 3, 7);
    EXPECT_EQ(content->writeBuffer(block.data(), static_cast<int64_t>(block.size())), 0);
    EXPECT_EQ(content->writeInt32(1), EMSGSIZE);
    EXPECT_TRUE(content->tooLong());
    EXPECT_EQ(content->writeCString("ab"), 0);
    EXPECT_EQ(content->writeCString(""), EMSGSIZE);
    EXPECT_EQ(content->size(), kMaxContent);
    content->clear();
    EXPECT_FALSE(content->tooLong());
    EXPECT_EQ(content->writeInt32(1), 0);
}

// What is left after some bytes, read in every way.
TEST(Content, answersNothingPastItsEnd) {
    const uint8_t bytes[] = {'a', 0, 'b', 'c', 1, 1, 1, 1, 1};
    const struct {
        size_t size;
        std::function<bool(ReadContent&)> read;
    } rows[] = {
        {0, [](ReadContent& c) { return c.readInt32() == 0; }},
        {3, [](ReadContent& c) { return c.readInt32() == 0; }},
        {7, [](ReadContent& c) { return c.readInt64() == 0; }},
        {0, [](ReadContent& c) { return c.readCString() == nullptr; }},
        {1, [](ReadContent& c) { return c.readCString() == nullptr; }},
        {4, [](ReadContent& c) { return c.readCString()[0] == 'a' && !c.readCString(); }},
        // Once past the end, always past the end.
        {5, [](ReadContent& c) { return c.readInt64() == 0 && c.readInt32() == 0; }},
        {2, [](ReadContent& c) { return c.readInt32() == 0 && !c.readCString(); }},
        {9, [](ReadContent& c) { return c.readInt64() != 0 && c.readInt32() == 0; }},
        {4, [](ReadContent& c) { return c.readBuffer(nullptr, 1) != 0 && c.readInt32() != 0; }},
    };
    for (const auto& row : rows) {
        // Exactly so many bytes, so that a sanitizer sees a read beyond.
        const std::vector<uint8_t> content(bytes, bytes + row.size);
        const sp<ReadContent> reader = new ReadContent;
        reader->reset(content.data(), content.size());
        EXPECT_TRUE(row.read(*reader)) << &row - rows;
    }
    for (const int64_t length : {int64_t{-1}, int64_t{4}, INT64_MAX}) {
        uint8_t kept[4] = {9, 9, 9, 9};
        const sp<ReadContent> reader = new ReadContent;
        reader->reset(bytes, 3);
        EXPECT_NE(reader->readBuffer(kept, length), 0);
        EXPECT_EQ(std::vector<uint8_t>(kept, kept + 4), std::vector<uint8_t>(4, 9));
    }
}

}  // namespace
}  // namespace accessory::framework

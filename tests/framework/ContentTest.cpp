#include "framework/Content.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace accessory::framework {
namespace {

std::vector<uint8_t> bytesOf(const WriteContent& content) {
    iovec pieces[WriteContent::kMaxPieces];
    const size_t count = content.pieces(0, content.size(), pieces);
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < count; ++i) {
        const auto* from = static_cast<const uint8_t*>(pieces[i].iov_base);
        bytes.insert(bytes.end(), from, from + pieces[i].iov_len);
    }
    return bytes;
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

// A long block stays where it is, wherever in the content that is.
TEST(Content, givesItsPieces) {
    const std::vector<uint8_t> block(kBorrowed, 7);
    const sp<WriteContent> content = new WriteContent;
    content->writeInt32(0x04030201);
    content->writeBuffer(block.data(), static_cast<int64_t>(block.size()));
    content->writeBuffer(block.data(), static_cast<int64_t>(block.size()));
    content->writeCString("z");
    std::vector<uint8_t> expected = {1, 2, 3, 4};
    expected.insert(expected.end(), 2 * kBorrowed, 7);
    expected.insert(expected.end(), {'z', 0});
    EXPECT_EQ(bytesOf(*content), expected);
    iovec pieces[WriteContent::kMaxPieces];
    ASSERT_EQ(content->pieces(2, kBorrowed + 3, pieces), 3u);
    EXPECT_EQ(pieces[0].iov_len, 2u);
    EXPECT_EQ(pieces[1].iov_base, block.data());
    EXPECT_EQ(pieces[2].iov_len, 1u);
    ASSERT_EQ(content->pieces(5, 1, pieces), 1u);
    EXPECT_EQ(pieces[0].iov_base, block.data() + 1);
}

// Parts that come one after the other.
class Parts final : public ContentRest {
public:
    explicit Parts(std::vector<std::vector<uint8_t>> parts) : mParts(std::move(parts)) {}
    size_t missing() const override {
        size_t bytes = 0;
        for (size_t i = mNext; i < mParts.size(); ++i)
            bytes += mParts[i].size();
        return bytes;
    }
    size_t nextPart() const override { return mNext < mParts.size() ? mParts[mNext].size() : 0; }
    bool receivePart(uint8_t* dest) override {
        if (mBroken) return false;
        std::copy(mParts[mNext].begin(), mParts[mNext].end(), dest);
        ++mNext;
        return true;
    }
    const uint8_t* bufferPart() override { return mBroken ? nullptr : mParts[mNext++].data(); }

    bool mBroken = false;

private:
    std::vector<std::vector<uint8_t>> mParts;
    size_t mNext = 0;
};

TEST(Content, readsOverItsParts) {
    const uint8_t first[] = {9, 0, 0};
    Parts rest({{0, 'a', 'b'}, {'c', 'd'}, {0, 1, 2}, {3, 4}, {5, 6, 0}});
    const sp<ReadContent> reader = new ReadContent;
    reader->reset(first, sizeof(first), &rest);
    EXPECT_EQ(reader->readInt32(), 9);
    EXPECT_STREQ(reader->readCString(), "abcd");
    uint8_t block[5];
    EXPECT_EQ(reader->readBuffer(block, sizeof(block)), 0);
    EXPECT_EQ(std::vector<uint8_t>(block, block + 5), (std::vector<uint8_t>{1, 2, 3, 4, 5}));
    EXPECT_NE(reader->readBuffer(block, 3), 0);
    EXPECT_EQ(reader->readCString(), nullptr);

    Parts broken({{1, 1, 1, 1}});
    broken.mBroken = true;
    reader->reset(first, sizeof(first), &broken);
    EXPECT_EQ(reader->readInt32(), 0);
    EXPECT_EQ(reader->readCString(), nullptr);
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

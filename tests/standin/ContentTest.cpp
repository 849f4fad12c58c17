
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "standin/ReadContent.h"
#include "standin/WriteContent.h"

namespace accessory::standin {
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

// What comes later, two bytes at a time.
class Parts final : public ContentRest {
public:
    explicit Parts(std::vector<uint8_t> bytes) : mBytes(std::move(bytes)) {}
    size_t missing() const override { return mBytes.size() - mNext; }
    size_t nextPart() const override { return std::min<size_t>(missing(), 2); }
    bool receivePart(uint8_t* dest) override {
        const size_t size = nextPart();
        const uint8_t* part = bufferPart();
        if (part != nullptr) std::copy_n(part, size, dest);
        return part != nullptr;
    }
    const uint8_t* bufferPart() override {
        const size_t at = std::exchange(mNext, mNext + nextPart());
        return mBroken ? nullptr : &mBytes[at];
    }

    bool mBroken = false;

private:
    const std::vector<uint8_t> mBytes;
    size_t mNext = 0;
};

bool readsOnes(ReadContent& content, size_t count) {
    std::vector<uint8_t> bytes(count);
    return content.readBuffer(bytes.data(), static_cast<int64_t>(count)) == 0 &&
           bytes == std::vector<uint8_t>(count, 1);
}

bool readsText(ReadContent& content, const std::string& expected) {
    const char* text = content.readCString();
    return text != nullptr && text == expected;
}

// Some bytes, read in every way, wherever they break off and a second part begins.
TEST(Content, readsItsPartsAndNothingPastItsEnd) {
    const uint8_t bytes[] = {'a', 0, 'b', 'c', 'd', 0, 1, 1, 1};
    enum Promised { kWhole, kEndedEarly };
    const struct {
        size_t size;
        Promised promised;
        std::function<bool(ReadContent&)> read;
    } rows[] = {
        {9, kWhole,
         [](auto& c) { return readsText(c, "a") && readsText(c, "bcd") && readsOnes(c, 3); }},
        {9, kWhole,
         [](auto& c) { return c.readInt32() == 0x63620061 && c.readInt32() == 0x01010064; }},
        {0, kEndedEarly, [](auto& c) { return c.readInt32() == 0; }},
        {3, kEndedEarly, [](auto& c) { return c.readInt32() == 0; }},
        {7, kEndedEarly, [](auto& c) { return c.readInt64() == 0; }},
        {2, kEndedEarly, [](auto& c) { return !readsOnes(c, 5); }},
        // A missing text alone breaks no promise.
        {0, kWhole, [](auto& c) { return c.readCString() == nullptr; }},
        {1, kWhole, [](auto& c) { return c.readCString() == nullptr; }},
        {4, kWhole, [](auto& c) { return readsText(c, "a") && !c.readCString(); }},
        {4, kEndedEarly, [](auto& c) { return readsText(c, "a") && c.readInt32() == 0; }},
        {1, kEndedEarly, [](auto& c) { return !c.readCString() && c.readInt32() == 0; }},
        // Once past the end, always past the end.
        {5, kEndedEarly, [](auto& c) { return c.readInt64() == 0 && c.readInt32() == 0; }},
        {5, kEndedEarly,
         [](auto& c) { return readsText(c, "a") && !readsOnes(c, 4) && !c.readCString(); }},
        {2, kEndedEarly, [](auto& c) { return c.readInt32() == 0 && !c.readCString(); }},
        {9, kEndedEarly, [](auto& c) { return c.readInt64() != 0 && c.readInt32() == 0; }},
        {0, kWhole, [](auto& c) { return c.readBuffer(nullptr, 0) == 0; }},
        {4, kWhole, [](auto& c) { return c.readBuffer(nullptr, 1) != 0 && c.readInt32() != 0; }},
    };
    for (const auto& row : rows) {
        for (size_t first = 0; first <= row.size; ++first) {
            // Exactly so many bytes, so that a sanitizer sees a read beyond.
            const std::vector<uint8_t> content(bytes, bytes + first);
            Parts rest({bytes + first, bytes + row.size});
            const sp<ReadContent> reader = new ReadContent;
            reader->reset(content.data(), first, first == row.size ? nullptr : &rest);
            EXPECT_TRUE(row.read(*reader)) << &row - rows << ", part at " << first;
            EXPECT_EQ(reader->endedEarly(), row.promised == kEndedEarly) << &row - rows;
        }
    }
    for (const int64_t length : {int64_t{-1}, int64_t{4}, INT64_MAX}) {
        uint8_t kept[4] = {9, 9, 9, 9};
        const sp<ReadContent> reader = new ReadContent;
        reader->reset(bytes, 3);
        EXPECT_NE(reader->readBuffer(kept, length), 0);
        EXPECT_EQ(std::vector<uint8_t>(kept, kept + 4), std::vector<uint8_t>(4, 9));
    }
    Parts broken({1, 1, 1, 1});
    broken.mBroken = true;
    const sp<ReadContent> reader = new ReadContent;
    reader->reset(bytes, 3, &broken);
    EXPECT_EQ(reader->readInt32(), 0);
    EXPECT_EQ(reader->readCString(), nullptr);
}

}  // namespace
}  // namespace accessory::standin

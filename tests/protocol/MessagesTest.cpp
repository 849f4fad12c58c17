#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "protocol/AccessoryMessages.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextContent.h"

namespace accessory {
namespace {

using testing_support::contentOf;
using testing_support::LogCapture;
using testing_support::readContent;
using testing_support::traced;
using Lines = std::vector<std::string>;

// Makes the message with a code as the framework does.
using Create = sp<SerializationBase> (*)(int code);

template <typename Factory>
sp<SerializationBase> create(int code) {
    const auto message = sp<Factory>(new Factory)->create(code);
    EXPECT_TRUE(message == nullptr || message->type() == code);
    return message;
}

constexpr Create kItem = create<MirvoServiceItemFactory>;
constexpr Create kNotify = create<MirvoServiceNotifyFactory>;
constexpr Create kReply = create<MirvoServiceReplyFactory>;

// A message class: what a fresh one contains, and a content in which no value is a default or that
// of a neighbour. Which field stands in which place is seen where the proxies fill and read them.
const struct Row {
    Create create;
    int code;
    std::string fresh;
    std::string filled;
} kRows[] = {
    {kItem, 130, R"("")", R"("3.6.1")"},
    {kItem, 131, R"(0, -1, -1L, ".", 0)", R"(9, 8, 5000000007L, "text", 1)"},
    {kItem, 134, R"(0, 0, -1, -1L, ".", 0)", R"(7, 2, 66, 5000000001L, "text", 1)"},
    {kItem, 135, "0, 0, 0L, 0, -1, 0", "7, 1, -2L, 2, 3, 4, 11, 21, 31, 12, 22, -32"},
    {kItem, 136, "0, 0, 0, 0", "7, 1, 66, 3, {0a 0b ff}"},
    {kItem, 137, "0, 0, 0, 0, 0, 0, 0", "7, 9, 1, 2, 3, 4, 5"},
    {kNotify, 130, "0, 0", "1, 5"},
    {kNotify, 133, R"(0, 0, -1, -1, -1L, ".", 2)", R"(7, 1, 2, 3, 5000000004L, "text", 1)"},
    {kNotify, 134, "0, 0, 0", "7, 4, 3, {0a 0b ff}"},
    // This text and its default differ by one, which is what a comparison of texts can return.
    {kReply, 129, R"(-1, -1, -1L, ".")", R"(5, 6, 5000000007L, "-")"},
    {kReply, 130, "0", "3, 11, 12, -1"},
    {kReply, 131, "-1, 0", "5, 3, {0a 0b ff}"},
    {kReply, 133, R"("")", R"("3.6.1")"},
};

// `content` with what stands in its text, if it has one, replaced.
std::string withText(std::string content, const std::string& text) {
    const size_t begin = content.find('"');
    if (begin == std::string::npos) return content;
    return content.replace(begin, content.find('"', begin + 1) - begin + 1, text);
}

Lines warned(const std::string& warning) {
    return warning.empty() ? Lines() : Lines{"W/(null): " + warning};
}

TEST(Messages, carryTheirFieldsInBothDirections) {
    LogCapture log;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.filled);
        const auto message = row.create(row.code);
        ASSERT_NE(message, nullptr);
        EXPECT_NE(message, row.create(row.code));
        EXPECT_EQ(contentOf(*message), row.fresh);
        auto* item = dynamic_cast<MVSItemAccessoryBase*>(message.get());
        for (int i = 0; i < 2; ++i) {  // The second time, what it holds is released first.
            EXPECT_TRUE(readContent(*message, row.filled));
            EXPECT_EQ(contentOf(*message), row.filled);
            EXPECT_TRUE(item == nullptr || item->accessoryId() == 7);
        }
    }
    EXPECT_EQ(log.take(), Lines());
}

TEST(Messages, goOnAfterATextThatFails) {
    LogCapture log;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.filled);
        const bool hasText = row.fresh.find('"') != std::string::npos;
        const auto message = row.create(row.code);
        readContent(*message, withText(row.filled, "null"));
        EXPECT_EQ(log.take(), warned(hasText ? "readCString ret null." : ""));
        const std::string kept = row.fresh.find("\".\"") != std::string::npos ? "\".\"" : "\"\"";
        EXPECT_EQ(contentOf(*message, -7), withText(row.filled, kept));
        EXPECT_EQ(log.take(), warned(hasText ? "writeCString ret error=-7" : ""));
    }
}

TEST(Messages, haveNoClassForOtherCodes) {
    LogCapture log;
    for (const Create create : {kItem, kNotify, kReply}) {
        for (int code = -2; code < 300; ++code) {
            const bool known = std::any_of(std::begin(kRows), std::end(kRows), [&](const Row& row) {
                return row.create == create && row.code == code;
            });
            EXPECT_EQ(create(code) != nullptr, known) << code;
        }
    }
    EXPECT_EQ(log.take(), Lines());
}

// Contents that a message does not write itself, and what it makes of them.
TEST(Messages, takeNothingOnTrust) {
    const std::string kZeros = "{00 00 00 00}";
    const struct {
        Create create;
        int code;
        std::string received;
        std::string rewritten;
        std::string warning = "";
    } kContents[] = {
        {kItem, 131, R"(9, 8, 7L, "t", 2)", R"(9, 8, 7L, "t", 1)"},
        {kItem, 131, R"(9, 8, 7L, "t", -1)", R"(9, 8, 7L, "t", 1)"},
        {kItem, 131, R"(9, 8)", R"(9, 8, 0L, ".", 0)", "readCString ret null."},
        {kItem, 134, R"(7, 9, 8, 7L, "t", 2)", R"(7, 9, 8, 7L, "t", 1)"},
        {kNotify, 133, R"(7, 1, 2, 3, 4L, "t", 0)", R"(7, 1, 2, 3, 4L, "t", 2)"},
        {kNotify, 133, R"(7, 1, 2, 3, 4L, "t", 3)", R"(7, 1, 2, 3, 4L, "t", 2)"},
        {kReply, 130, "11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11", "10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10"},
        {kReply, 130, "2000000000, 1", "10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0"},
        {kReply, 130, "-1, 1, 2", "0"},
        {kReply, 131, "5, -1", "5, -1"},
        {kReply, 131, "5, 4", "5, 4, " + kZeros},
        {kReply, 131, "5, 2147483647", "5, 0", "no memory for 2147483647 elements of 1 bytes"},
        {kNotify, 134, "7, 4, -1", "7, 4, -1"},
        {kNotify, 134, "7, 4, 4", "7, 4, 4, " + kZeros},
        {kNotify, 134, "7, 4, 16777217", "7, 4, 0", "no memory for 16777217 elements of 1 bytes"},
        {kItem, 136, "7, 1, 66, -1", "7, 1, 66, -1"},
        {kItem, 136, "7, 1, 66, 4", "7, 1, 66, 4, " + kZeros},
        {kItem, 136, "7, 1, 6, 16777217", "7, 1, 6, 0",
         "no memory for 16777217 elements of 1 bytes"},
        {kItem, 135, "7, 1, 9L, -5, 3, 4", "7, 1, 9L, -5, 3, 4"},
        {kItem, 135, "7, 1, 9L, 2, 3, 4, 11", "7, 1, 9L, 2, 3, 4, 11, 0, 0, 0, 0, 0"},
        {kItem, 135, "7, 1, 9L, 2147483647, 3, 4", "7, 1, 9L, 0, 3, 4",
         "no memory for 2147483647 elements of 4 bytes"},
    };
    LogCapture log;
    for (const auto& row : kContents) {
        SCOPED_TRACE(row.received);
        const auto message = row.create(row.code);
        readContent(*message, row.received);
        EXPECT_EQ(contentOf(*message), row.rewritten);
        EXPECT_EQ(log.take(), warned(row.warning));
    }
}

TEST(Messages, holdNoBlockAboveTheLimit) {
    LogCapture log;
    const sp<MVSReplyRawData> message = new MVSReplyRawData;
    readContent(*message, "5, 16777216");
    ASSERT_NE(message->data, nullptr);
    EXPECT_EQ(std::count(message->data, message->data + message->size, 0), message->size);
    readContent(*message, "5, 16777217");
    EXPECT_EQ(message->data, nullptr);
    EXPECT_EQ(message->size, 16777217);
    EXPECT_EQ(log.take(), warned("no memory for 16777217 elements of 1 bytes"));
}

TEST(Messages, copyTheArraysOfATouch) {
    const int32_t array[] = {11, 12};
    const struct {
        int32_t count;
        const int32_t *array1, *array2, *array3;
        std::string content;
    } kTouches[] = {
        {2, array, array, array, "7, 1, 9L, 2, 3, 4, 11, 11, 11, 12, 12, 12"},
        {0, array, array, array, "7, 1, 9L, 0, 3, 4"},
        {-1, array, array, array, "7, 1, 9L, 0, 3, 4"},
        {2, nullptr, array, array, "7, 1, 9L, 0, 3, 4"},
        {2, array, nullptr, array, "7, 1, 9L, 0, 3, 4"},
        {2, array, array, nullptr, "7, 1, 9L, 0, 3, 4"},
    };
    LogCapture log;
    for (const auto& row : kTouches) {
        const sp<MVSItemAccessoryTouchEvent> touch = new MVSItemAccessoryTouchEvent(
            7, 1, 9, row.count, 3, 4, row.array1, row.array2, row.array3);
        EXPECT_EQ(contentOf(*touch), row.content);
        EXPECT_NE(touch->array1, nullptr);
        EXPECT_EQ(log.take(), Lines());
    }
}

TEST(Messages, standInMemoryAsTheyMust) {
    const sp<MVSReplyAccessoryIds> ids = new MVSReplyAccessoryIds;
    EXPECT_LT(static_cast<void*>(ids->ids), static_cast<void*>(&ids->count));
    ids->count = 12;
    EXPECT_EQ(contentOf(*ids), "10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0");
    const sp<MVSReplyRawData> raw = new MVSReplyRawData;
    EXPECT_LT(static_cast<void*>(&raw->result), static_cast<void*>(&raw->data));
    EXPECT_LT(static_cast<void*>(&raw->data), static_cast<void*>(&raw->size));
    raw->size = 5;  // Without bytes.
    EXPECT_EQ(contentOf(*raw), "-1, 0");
}

TEST(Binding, describesTheService) {
    LogCapture log;
    const std::string kTag = "MirvoServiceProtocol";
    sp<ServiceInfo> info = new MirvoServiceInfo;
    EXPECT_EQ(log.take(), traced(kTag, "MirvoServiceProtocol"));
    EXPECT_STREQ(info->servicename(), "mirvo.accessory.manager");
    EXPECT_NE(info->protocol(), sp<ServiceInfo>(new MirvoServiceInfo)->protocol());
    const auto protocol = info->protocol();
    EXPECT_EQ(info->protocol(), protocol);
    EXPECT_EQ(protocol->notifyFactory(), protocol->notifyFactory());
    EXPECT_EQ(protocol->itemFactory(), protocol->itemFactory());
    EXPECT_EQ(protocol->replyFactory(), protocol->replyFactory());
}

}  // namespace
}  // namespace accessory

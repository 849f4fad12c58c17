#include <gtest/gtest.h>

#include <functional>
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
using testing_support::TextReader;
using Lines = std::vector<std::string>;

enum Family { kItem, kNotify, kReply };

sp<SerializationBase> create(Family family, int code) {
    switch (family) {
        case kItem:
            return sp<ServiceItemFactory>(new MirvoServiceItemFactory)->create(code);
        case kNotify:
            return sp<ServiceNotifyFactory>(new MirvoServiceNotifyFactory)->create(code);
        default:
            return sp<ServiceReplyFactory>(new MirvoServiceReplyFactory)->create(code);
    }
}

int32_t typeOf(Family family, SerializationBase& message) {
    switch (family) {
        case kItem:
            return static_cast<ServiceItem&>(message).type();
        case kNotify:
            return static_cast<ServiceNotify&>(message).type();
        default:
            return static_cast<ServiceReply&>(message).type();
    }
}

// A message class: what a fresh one contains, and what one contains whose fields were all set.
struct Row {
    Family family;
    int code;
    std::string fresh;
    std::string filled;
    std::function<void(SerializationBase&)> fill;
};

template <typename Message, typename Fill>
Row row(Family family, int code, const char* fresh, const char* filled, Fill fill) {
    return {family, code, fresh, filled,
            [fill](SerializationBase& message) { fill(static_cast<Message&>(message)); }};
}

template <typename Message>
void setBlock(Message& m) {
    m.size = 3;
    m.data = new uint8_t[3]{0x0a, 0x0b, 0xff};
}

// Every value differs from its neighbours and from its default.
const std::vector<Row>& rows() {
    static const std::vector<Row> kRows = {
        row<MVSItemManagerVersion>(kItem, 130, R"("")", R"("3.6.1")",
                                   [](auto& m) { m.version.setTo("3.6.1"); }),
        row<MVSItemManagerCommon>(kItem, 131, R"(0, -1, -1L, ".", 0)",
                                  R"(9, 8, 5000000007L, "text", 1)",
                                  [](auto& m) {
                                      m.command = 9;
                                      m.intValue = 8;
                                      m.longValue = 5000000007;
                                      m.stringValue.setTo("text");
                                      m.boolValue = true;
                                  }),
        row<MVSItemAccessoryCommon>(kItem, 134, R"(0, 0, -1, -1L, ".", 0)",
                                    R"(7, 2, 66, 5000000001L, "text", 1)",
                                    [](auto& m) {
                                        m.mAccessoryId = 7;
                                        m.command = 2;
                                        m.intValue = 66;
                                        m.longValue = 5000000001;
                                        m.stringValue.setTo("text");
                                        m.boolValue = true;
                                    }),
        row<MVSItemAccessoryTouchEvent>(kItem, 135, "0, 0, 0L, 0, -1, 0",
                                        "7, 1, -2L, 2, 3, 4, 11, 21, 31, 12, 22, -32",
                                        [](auto& m) {
                                            m.mAccessoryId = 7;
                                            m.command = 1;
                                            m.time = 0xfffffffffffffffe;
                                            m.count = 2;
                                            m.action = 3;
                                            m.extra = 4;
                                            m.array1 = new int32_t[2]{11, 12};
                                            m.array2 = new int32_t[2]{21, 22};
                                            m.array3 = new int32_t[2]{31, -32};
                                        }),
        row<MVSItemAccessoryRawData>(kItem, 136, "0, 0, 0, 0", "7, 1, 66, 3, {0a 0b ff}",
                                     [](auto& m) {
                                         m.mAccessoryId = 7;
                                         m.command = 1;
                                         m.intValue = 66;
                                         setBlock(m);
                                     }),
        row<MVSItemAccessoryDisplayConfiguration>(kItem, 137, "0, 0, 0, 0, 0, 0, 0",
                                                  "7, 9, 1, 2, 3, 4, 5",
                                                  [](auto& m) {
                                                      m.mAccessoryId = 7;
                                                      m.command = 9;
                                                      m.value1 = 1;
                                                      m.value2 = 2;
                                                      m.value3 = 3;
                                                      m.value4 = 4;
                                                      m.value5 = 5;
                                                  }),
        row<MVSNotifyManagerCommon>(kNotify, 130, "0, 0", "1, 5",
                                    [](auto& m) {
                                        m.notifyType = 1;
                                        m.accessoryId = 5;
                                    }),
        row<MVSNotifyAccessoryCommon>(kNotify, 133, R"(0, 0, -1, -1, -1L, ".", 2)",
                                      R"(7, 1, 2, 3, 5000000004L, "text", 1)",
                                      [](auto& m) {
                                          m.mAccessoryId = 7;
                                          m.notifyType = 1;
                                          m.intValue = 2;
                                          m.intValue2 = 3;
                                          m.longValue = 5000000004;
                                          m.stringValue.setTo("text");
                                          m.boolValue = true;
                                      }),
        row<MVSNotifyAccessoryRawData>(kNotify, 134, "0, 0, 0", "7, 4, 3, {0a 0b ff}",
                                       [](auto& m) {
                                           m.mAccessoryId = 7;
                                           m.notifyType = 4;
                                           setBlock(m);
                                       }),
        row<MVSReplyCommon>(kReply, 129, R"(-1, -1, -1L, ".")", R"(5, 6, 5000000007L, "text")",
                            [](auto& m) {
                                m.result = 5;
                                m.intValue = 6;
                                m.longValue = 5000000007;
                                m.stringValue.setTo("text");
                            }),
        row<MVSReplyAccessoryIds>(kReply, 130, "0", "3, 11, 12, -1",
                                  [](auto& m) {
                                      m.count = 3;
                                      m.ids[0] = 11;
                                      m.ids[1] = 12;
                                      m.ids[2] = 0xffffffff;
                                  }),
        row<MVSReplyRawData>(kReply, 131, "-1, 0", "5, 3, {0a 0b ff}",
                             [](auto& m) {
                                 m.result = 5;
                                 setBlock(m);
                             }),
        row<MVSReplyVersion>(kReply, 133, R"("")", R"("3.6.1")",
                             [](auto& m) { m.version.setTo("3.6.1"); }),
    };
    return kRows;
}

// `content` with what stands in its text, if it has one, replaced.
std::string withText(std::string content, const std::string& text) {
    const size_t begin = content.find('"');
    if (begin == std::string::npos) return content;
    return content.replace(begin, content.find('"', begin + 1) - begin + 1, text);
}

TEST(Messages, CarryTheirFieldsInBothDirections) {
    LogCapture log;
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.filled);
        const auto written = create(row.family, row.code);
        ASSERT_NE(written, nullptr);
        EXPECT_EQ(contentOf(*written), row.fresh);
        row.fill(*written);
        EXPECT_EQ(contentOf(*written), row.filled);
        EXPECT_EQ(typeOf(row.family, *written), row.code);

        const auto read = create(row.family, row.code);
        EXPECT_NE(read, written);
        const sp<TextReader> reader = new TextReader(row.filled);
        sp<DeserializationContent> content = reader;
        read->deserialization(content);
        EXPECT_TRUE(reader->atEnd());
        EXPECT_EQ(contentOf(*read), row.filled);
        readContent(*read, row.filled);  // What it held is released first.
        EXPECT_EQ(contentOf(*read), row.filled);
    }
    EXPECT_EQ(log.take(), Lines());
}

TEST(Messages, GoOnAfterATextThatFails) {
    LogCapture log;
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.filled);
        const bool hasText = row.fresh.find('"') != std::string::npos;
        const auto message = create(row.family, row.code);
        row.fill(*message);
        EXPECT_EQ(contentOf(*message, -7), row.filled);
        EXPECT_EQ(log.take(), hasText ? Lines{"W/(null): writeCString ret error=-7"} : Lines());

        const auto read = create(row.family, row.code);
        readContent(*read, withText(row.filled, "null"));
        EXPECT_EQ(log.take(), hasText ? Lines{"W/(null): readCString ret null."} : Lines());
        const std::string kept = row.fresh.find("\".\"") != std::string::npos ? "\".\"" : "\"\"";
        EXPECT_EQ(contentOf(*read), withText(row.filled, kept));
    }
}

TEST(Messages, HaveNoClassForOtherCodes) {
    LogCapture log;
    for (const Family family : {kItem, kNotify, kReply}) {
        for (int code = -2; code < 300; ++code) {
            bool known = false;
            for (const Row& row : rows())
                known = known || (row.family == family && row.code == code);
            EXPECT_EQ(create(family, code) != nullptr, known) << family << " " << code;
        }
    }
    EXPECT_EQ(log.take(), Lines());
}

// Contents that a message does not write itself, and what it makes of them.
TEST(Messages, TakeNothingOnTrust) {
    const struct {
        Family family;
        int code;
        std::string received;
        std::string rewritten;
        const char* warning = nullptr;
    } kContents[] = {
        {kItem, 131, R"(9, 8, 7L, "t", 2)", R"(9, 8, 7L, "t", 1)"},
        {kItem, 131, R"(9, 8, 7L, "t", -1)", R"(9, 8, 7L, "t", 1)"},
        {kItem, 131, R"(9, 8)", R"(9, 8, 0L, ".", 0)", "readCString ret null."},
        {kItem, 134, R"(7, 9, 8, 7L, "t", 2)", R"(7, 9, 8, 7L, "t", 1)"},
        {kNotify, 133, R"(7, 1, 2, 3, 4L, "t", 0)", R"(7, 1, 2, 3, 4L, "t", 2)"},
        {kNotify, 133, R"(7, 1, 2, 3, 4L, "t", 3)", R"(7, 1, 2, 3, 4L, "t", 2)"},
        {kReply, 130, "10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10", "10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10"},
        {kReply, 130, "11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11", "10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10"},
        {kReply, 130, "2000000000, 1", "10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0"},
        {kReply, 130, "-1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11", "0"},
        {kReply, 131, "5, -1", "5, -1"},
        {kReply, 131, "5, 4", "5, 4, {00 00 00 00}"},
        {kReply, 131, "5, 2147483647", "5, 0", "no memory for 2147483647 elements of 1 bytes"},
        {kReply, 131, "5, 16777217", "5, 0", "no memory for 16777217 elements of 1 bytes"},
        {kNotify, 134, "7, 4, -1", "7, 4, -1"},
        {kNotify, 134, "7, 4, 4", "7, 4, 4, {00 00 00 00}"},
        {kNotify, 134, "7, 4, 2147483647", "7, 4, 0",
         "no memory for 2147483647 elements of 1 bytes"},
        {kItem, 136, "7, 1, 66, 4", "7, 1, 66, 4, {00 00 00 00}"},
        {kItem, 136, "7, 1, 66, 2147483647", "7, 1, 66, 0",
         "no memory for 2147483647 elements of 1 bytes"},
        {kItem, 135, "7, 1, 9L, -5, 3, 4", "7, 1, 9L, -5, 3, 4"},
        {kItem, 135, "7, 1, 9L, 2, 3, 4, 11", "7, 1, 9L, 2, 3, 4, 11, 0, 0, 0, 0, 0"},
        {kItem, 135, "7, 1, 9L, 2147483647, 3, 4", "7, 1, 9L, 0, 3, 4",
         "no memory for 2147483647 elements of 4 bytes"},
    };
    LogCapture log;
    for (const auto& content : kContents) {
        SCOPED_TRACE(content.received);
        const auto message = create(content.family, content.code);
        readContent(*message, content.received);
        EXPECT_EQ(contentOf(*message), content.rewritten);
        const std::string line = content.warning == nullptr ? "" : content.warning;
        EXPECT_EQ(log.take(), line.empty() ? Lines() : Lines{"W/(null): " + line});
    }
}

template <typename Message>
void expectBlockAbsentAboveLimit(const std::string& contentBeforeSize) {
    LogCapture log;
    const sp<Message> message = new Message;
    readContent(*message, contentBeforeSize + "16777216");
    EXPECT_NE(message->data, nullptr);
    readContent(*message, contentBeforeSize + "16777217");
    EXPECT_EQ(message->data, nullptr);
    EXPECT_EQ(message->size, 16777217);
    readContent(*message, contentBeforeSize + "1, {0a}");
    EXPECT_EQ(message->data[0], 0x0a);
    readContent(*message, contentBeforeSize + "0");
    EXPECT_EQ(message->data, nullptr);
    message->size = 5;  // Without bytes.
    EXPECT_EQ(contentOf(*message), contentBeforeSize + "0");
}

TEST(Messages, HoldNoBlockAboveTheLimit) {
    expectBlockAbsentAboveLimit<MVSReplyRawData>("5, ");
    expectBlockAbsentAboveLimit<MVSNotifyAccessoryRawData>("7, 4, ");
    expectBlockAbsentAboveLimit<MVSItemAccessoryRawData>("7, 1, 66, ");
}

TEST(Messages, ClampTheIdsThatTheyWrite) {
    const sp<MVSReplyAccessoryIds> message = new MVSReplyAccessoryIds;
    for (uint32_t i = 0; i < 10; ++i)
        message->ids[i] = i + 1;
    message->count = 12;
    EXPECT_EQ(contentOf(*message), "10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10");
    EXPECT_EQ(message->count, 10u);
}

TEST(Messages, AreConstructedForACommand) {
    const sp<MVSItemManagerCommon> manager = new MVSItemManagerCommon(9);
    EXPECT_EQ(contentOf(*manager), R"(9, -1, -1L, ".", 0)");
    const sp<MVSItemAccessoryCommon> common = new MVSItemAccessoryCommon(7, 2);
    EXPECT_EQ(contentOf(*common), R"(7, 2, -1, -1L, ".", 0)");
    const sp<MVSItemAccessoryDisplayConfiguration> display =
        new MVSItemAccessoryDisplayConfiguration(7, 2);
    EXPECT_EQ(contentOf(*display), "7, 2, 0, 0, 0, 0, 0");

    // Borrows, for otherwise this would be released.
    uint8_t borrowed[] = {1, 2};
    sp<MVSItemAccessoryRawData> raw = new MVSItemAccessoryRawData(7, 2);
    raw->data = borrowed;
    raw->size = 2;
    EXPECT_EQ(contentOf(*raw), "7, 2, 0, 2, {01 02}");
    for (MVSItemAccessoryBase* item :
         std::initializer_list<MVSItemAccessoryBase*>{common.get(), display.get(), raw.get()}) {
        EXPECT_EQ(item->accessoryId(), 7);
    }
    raw.clear();
    EXPECT_EQ(borrowed[1], 2);
}

TEST(Messages, CopyTheArraysOfATouch) {
    LogCapture log;
    int32_t array1[] = {11, 12};
    const int32_t array2[] = {21, 22};
    const int32_t array3[] = {31, 32};
    const auto touch = [&](int32_t count, const int32_t* first) {
        return sp<MVSItemAccessoryTouchEvent>(
            new MVSItemAccessoryTouchEvent(7, 1, 9, count, 3, 4, first, array2, array3));
    };
    const auto two = touch(2, array1);
    array1[0] = 0;
    EXPECT_EQ(contentOf(*two), "7, 1, 9L, 2, 3, 4, 11, 21, 31, 12, 22, 32");
    EXPECT_EQ(two->accessoryId(), 7);
    const auto none = touch(0, array1);
    EXPECT_EQ(contentOf(*none), "7, 1, 9L, 0, 3, 4");
    EXPECT_TRUE(none->array1 != nullptr && none->array2 != nullptr && none->array3 != nullptr);
    EXPECT_EQ(touch(-1, array1)->count, 0);
    EXPECT_EQ(touch(2, nullptr)->count, 0);
    EXPECT_EQ(log.take(), Lines());
    const auto tooMany = touch(2000000000, array1);
    EXPECT_EQ(tooMany->count, 0);
    EXPECT_EQ(tooMany->array1, nullptr);
    EXPECT_EQ(log.take(), Lines{"W/(null): no memory for 2000000000 elements of 4 bytes"});
}

TEST(Messages, StandInMemoryAsTheyMust) {
    const sp<MVSReplyAccessoryIds> ids = new MVSReplyAccessoryIds;
    EXPECT_LT(static_cast<void*>(ids->ids), static_cast<void*>(&ids->count));
    const sp<MVSReplyRawData> raw = new MVSReplyRawData;
    EXPECT_LT(static_cast<void*>(&raw->result), static_cast<void*>(&raw->data));
    EXPECT_LT(static_cast<void*>(&raw->data), static_cast<void*>(&raw->size));
}

TEST(Binding, DescribesTheService) {
    LogCapture log;
    sp<ServiceInfo> info = new MirvoServiceInfo;
    EXPECT_EQ(log.take(), (Lines{
                              "D/MirvoServiceProtocol: [MirvoServiceProtocol]"
                              "[MirvoServiceProtocol] [--IN--]",
                              "D/MirvoServiceProtocol: [MirvoServiceProtocol]"
                              "[MirvoServiceProtocol] [--OUT--]",
                          }));
    EXPECT_STREQ(info->servicename(), "mirvo.accessory.manager");
    const sp<ServiceInfo> other = new MirvoServiceInfo;
    EXPECT_EQ(info->protocol(), info->protocol());
    EXPECT_NE(info->protocol(), other->protocol());
    EXPECT_EQ(info->protocol()->notifyFactory(), info->protocol()->notifyFactory());
    EXPECT_EQ(info->protocol()->itemFactory(), info->protocol()->itemFactory());
    EXPECT_EQ(info->protocol()->replyFactory(), info->protocol()->replyFactory());
    EXPECT_EQ(info->protocol()->notifyFactory()->create(133)->type(), 133);
    EXPECT_EQ(info->protocol()->itemFactory()->create(137)->type(), 137);
    EXPECT_EQ(info->protocol()->replyFactory()->create(129)->type(), 129);
    log.take();
    info.clear();
    EXPECT_EQ(log.take(), (Lines{
                              "D/MirvoServiceProtocol: [MirvoServiceProtocol]"
                              "[~MirvoServiceProtocol] [--IN--]",
                              "D/MirvoServiceProtocol: [MirvoServiceProtocol]"
                              "[~MirvoServiceProtocol] [--OUT--]",
                          }));
}

}  // namespace
}  // namespace accessory

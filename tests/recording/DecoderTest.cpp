#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording/Decoder.h"

// What the bytes of messages mean. All of them are typed in.

namespace recording {
namespace {

std::vector<uint8_t> bytes(const std::string& text) {
    std::vector<uint8_t> result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ') continue;
        result.push_back(static_cast<uint8_t>(std::stoi(text.substr(i++, 2), nullptr, 16)));
    }
    return result;
}

constexpr auto kItem = FrameKind::kRequest;
constexpr auto kReply = FrameKind::kReply;
constexpr auto kNotify = FrameKind::kNotify;

const std::string kNoLong = "ffffffffffffffff";
const std::string kRecordOf36 = std::string(72, '1');

struct Row {
    FrameKind kind;
    int32_t type;
    std::string content;
    // Name, accessory and arguments.
    const char* decoded;
};

std::string shown(const Decoded& decoded) {
    std::string text = decoded.name;
    if (decoded.accessory) text += "@" + std::to_string(*decoded.accessory);
    for (const auto& [name, value] : decoded.arguments.items())
        text += " " + name + "=" + value.dump();
    return text + (decoded.whole ? "" : " ...");
}

TEST(DecoderTest, messagesAreNamedWithWhatTheySay) {
    const std::string common = "ffffffff" + kNoLong + "2e00";
    const std::string touch =
        "07000000 01000000 0500000000000000 02000000 03000000 00000000"
        "01000000 02000000 03000000 04000000 05000000 ffffffff";
    const Row kRows[] = {
        {kItem, 130, "00", R"(getVersion version="")"},
        {kItem, 131, "01000000" + common + "00000000", "startup"},
        {kItem, 131, "04000000 ffffffff" + kNoLong + "2f6100 00000000",
         R"(setConfigFile path="/a")"},
        {kItem, 131, "05000000 02000000" + kNoLong + "4200 00000000",
         R"(setBluetoothConfig text="B" value=2)"},
        {kItem, 131, "06000000 07000000" + kNoLong + "2e00 00000000", "getMirvo@7"},
        {kItem, 131, "63000000" + common + "00000000", "unknown item=131 command=99"},
        {kItem, 134, "07000000 02000000 ffffffff" + kNoLong + "2e00 01000000",
         "sendKeyEvent@7 keyCode=4294967295 flag=true"},
        {kItem, 134, "07000000 04000000 ffffffff" + kNoLong + "2e00 00000000",
         "sendVideoFocus@7 focus=-1 flag=false"},
        {kItem, 135, touch,
         "sendTouchEvent@7 time=5 count=2 array1=[1,4] array2=[2,5] array3=[3,4294967295] action=3 "
         "extra=0"},
        {kItem, 136, "07000000 01000000 09000000 02000000 aabb",
         R"(setFeature@7 feature=9 data="AABB")"},
        {kItem, 137, "07000000 00000000 01000000 02000000 03000000 04000000 feffffff",
         "sendDisplayConfiguration@7 value1=1 value2=2 value3=3 value4=4 value5=-2"},
        {kReply, 129, "02000000" + common, "Common result=2"},
        {kReply, 130, "02000000 07000000 08000000", "AccessoryIds ids=[7,8]"},
        {kReply, 131, "00000000 02000000 4142", R"(RawData result=0 bytes="4142")"},
        {kReply, 131, "05000000 ffffffff", R"(RawData result=5 bytes="")"},
        {kReply, 133, "332e362e3600", R"(Version version="3.6.6")"},
        {kNotify, 130, "01000000 07000000", "attach@7"},
        {kNotify, 130, "09000000 07000000", "unknown@7 type=130 notifyType=9"},
        {kNotify, 133, "07000000 01000000 03000000" + common + "02000000", "state@7 state=3"},
        {kNotify, 133, "07000000 63000000 03000000" + common + "01000000",
         "notify@7 subCode=99 value=3"},
        {kNotify, 134, "07000000 04000000 02000000 4869", R"(hid@7 data="4869")"},
        {kNotify, 134, "07000000 09000000 00000000", R"(raw@7 subCode=9 data="")"},
        {kNotify, 134,
         "07000000 01000000 2c000000 00000000 05000000 06000000" + kRecordOf36.substr(8),
         "request@7 param1=5 param2=6"},
        {kNotify, 134, "07000000 01000000 2c000000 01000000" + kRecordOf36 + "02000000",
         R"(request-data@7 data="1111")"},
        {kNotify, 134, "07000000 01000000 01000000 00", R"(raw@7 subCode=1 data="00")"},
        {kNotify, 134, "07000000 02000000 28000000 00000000" + kRecordOf36, "response@7"},
        {kNotify, 134,
         "07000000 02000000 28000000 01000000 01000000 02000000 03000000 04000000 05000000 06000000"
         "07000000 08000000 09000000",
         "time-date@7 date1=1 date2=2 date3=3 hour=4 minute=5 second=6 fraction=7 week=8 "
         "dayOfWeek=9"},
        {kItem, 1, "0a", R"(unknown type=1 data="0A" ...)"},
        {FrameKind::kEnded, 130, "", R"(unknown type=130 data="" ...)"},
    };
    for (const Row& row : kRows) {
        const auto content = bytes(row.content);
        const Decoded decoded = decode(row.kind, row.type, content.data(), content.size());
        EXPECT_EQ(shown(decoded), row.decoded) << row.content;
        // However short it is, it is read no further.
        for (size_t size = 0; size < content.size(); ++size) {
            const std::vector<uint8_t> part(content.begin(),
                                            content.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_FALSE(decode(row.kind, row.type, part.data(), size).whole) << row.content;
        }
    }
}

TEST(DecoderTest, allFieldsAreNamedAsOnTheWire) {
    const auto content =
        bytes("07000000 63000000 03000000 04000000 0500000000000000 6100 01000000");
    const Decoded decoded = decode(kNotify, 133, content.data(), content.size());
    EXPECT_EQ(decoded.message.dump(),
              R"({"accessoryId":7,"notifyType":99,"intValue":3,"intValue2":4,"longValue":5,)"
              R"("stringValue":"a","boolValue":true})");
}

}  // namespace
}  // namespace recording

#include "accessory/AutoTrace.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/LogCapture.h"

namespace accessory {
namespace {

using Lines = std::vector<std::string>;

TEST(AutoTrace, WritesOneLineEachWay) {
    testing_support::LogCapture log;
    try {
        std::string tag = "tag";
        std::string function = "work";
        const AutoTrace trace(tag.c_str(), function.c_str(), true);
        EXPECT_EQ(log.take(), Lines{"D/tag: [tag][work] [--IN--]"});
        tag.replace(0, 3, "xxx");  // Both texts were copied.
        function.replace(0, 4, "xxxx");
        throw std::runtime_error("passing through");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(log.take(), Lines{"D/tag: [tag][work] [--OUT--]"});
    }
    { const AutoTrace silent("tag", "work", false); }
    EXPECT_EQ(log.take(), Lines());
}

}  // namespace
}  // namespace accessory

#include "accessory/AutoTrace.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/LogCapture.h"

namespace accessory {
namespace {

TEST(AutoTrace, writesOneLineEachWay) {
    testing_support::LogCapture log;
    std::string tag = "tag";
    std::string function = "work";
    {
        const AutoTrace trace(tag.c_str(), function.c_str(), true);
        const AutoTrace silent("tag", "silent", false);
        tag.replace(0, 3, "xxx");  // Both texts were copied.
        function.replace(0, 4, "xxxx");
    }
    EXPECT_EQ(log.take(), testing_support::traced("tag", "work"));
}

}  // namespace
}  // namespace accessory

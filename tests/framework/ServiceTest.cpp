#include <gtest/gtest.h>

#include <numeric>

#include "protocol/ProcessState.h"
#include "tests/framework/TestService.h"

// A client of this process against a service in a process of its own.

namespace accessory {
namespace {

class ServiceTest : public testing::Test {
protected:
    ServiceTest() { android::ProcessState::self()->startThreadPool(); }

    TestDirectory mDirectory;
    ServiceProcess mService{mDirectory};
};

TEST_F(ServiceTest, answersRequests) {
    const sp<ServiceClient> client = bind();
    ASSERT_TRUE(client != nullptr);
    struct {
        int32_t number;
        size_t size;
        int32_t answer;
    } const requests[] = {
        {kEcho, 0, kEcho},
        {kEcho + 1, 40, kEcho + 1},
        {kEcho + 2, 65'000, kEcho + 2},
        {kEcho + 3, 65'516 - 8, kEcho + 3},  // fills one datagram to the last byte
        {kEcho + 4, 65'516 - 7, kEcho + 4},  // needs a second one
        {kEcho + 5, 4u << 20, kEcho + 5},
        {kEcho + 6, (16u << 20) - 8, kEcho + 6},  // as large as can be
        {kEcho + 7, (16u << 20) - 7, -1},         // not sent at all
        {kHugeReply, 0, -1},
        {kUnknownReply, 0, -1},
        {kEcho + 8, 1, kEcho + 8},
    };
    for (const auto& request : requests) {
        EXPECT_EQ(ask(client, request.number, request.size), request.answer);
    }
    EXPECT_EQ(ask(client, kEcho, 0, kUnknownType), -1);
    EXPECT_EQ(ask(client, kEcho), kEcho);
}

TEST_F(ServiceTest, deliversEveryNotificationInOrder) {
    constexpr size_t kCount = 100'000;
    const sp<ServiceClient> client = bind();
    const sp<Recorder> recorder = new Recorder;
    ASSERT_EQ(listen(client, recorder), 0);
    ASSERT_EQ(ask(client, kNotifyMany, kCount), kNotifyMany);
    std::vector<int32_t> expected(kCount);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(recorder->await(kCount), expected);
}

}  // namespace
}  // namespace accessory

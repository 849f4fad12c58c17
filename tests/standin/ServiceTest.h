#pragma once

#include <gtest/gtest.h>

#include <numeric>

#include "protocol/ProcessState.h"
#include "tests/standin/TestService.h"

namespace accessory {

using Numbers = std::vector<int32_t>;

inline Numbers upTo(size_t count) {
    Numbers numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

// Listens with a new recorder.
inline sp<Recorder> record(const sp<ServiceClient>& client,
                           const std::function<void()>& during = {}) {
    const sp<Recorder> recorder = new Recorder(during);
    EXPECT_EQ(listen(client, recorder), 0);
    return recorder;
}

// Clients of this process against a service in a process of its own.
class ServiceTest : public testing::Test {
protected:
    ServiceTest() {
        // A hundred thousand notifications before a reply may take longer than the default.
        setTimeout("60000");
        android::ProcessState::self()->startThreadPool();
    }

    testing_support::Folder mDirectory;
    Role mService{"--serve", mDirectory};
};

}  // namespace accessory

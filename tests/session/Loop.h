#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <zrmirvo/Session.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/Process.h"
#include "tests/support/Signal.h"

namespace session_test {

// Waits until the descriptor is readable. False when it is not by the deadline of all tests.
[[nodiscard]] inline bool waitFor(int fd) {
    pollfd entry{fd, POLLIN, 0};
    const std::chrono::milliseconds deadline = testing_support::kDeadline;
    return poll(&entry, 1, static_cast<int>(deadline.count())) == 1;
}

// Dispatches until the condition holds. False when nothing has come by the deadline of all tests.
template <typename Session, typename Condition>
[[nodiscard]] bool dispatchUntil(Session& session, Condition condition) {
    while (!condition()) {
        if (!waitFor(session.fd())) return false;
        session.dispatch();
    }
    return true;
}

// An emulator, which the test can start anew.
class SessionTest : public testing::Test {
protected:
    // Returns when the commands are done. A session may have found it before.
    void startEmulator(const std::string& commands = "attach 7") {
        mEmulator = nullptr;
        mEmulator = std::make_unique<testing_support::Process>(
            std::vector<std::string>{EMULATOR, "--dir", mFolder.path()});
        mEmulator->type(commands + "\nstate 250 0");
        static_cast<void>(mEmulator->waitForLine("> state 250 0"));
    }

    // How many lines like this the emulator has printed so far.
    size_t requests(const std::string& line) {
        mEmulator->type("state 250 0");
        EXPECT_TRUE(mEmulator->waitForLine("> state 250 0"));
        const std::string& output = mEmulator->output();
        size_t count = 0;
        for (size_t at = 0; (at = output.find(line, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }

    // Has the phone 7, with its callback in place.
    zrmirvo::Phone phone(zrmirvo::Session& session) {
        std::unique_ptr<zrmirvo::Phone> found;
        session.onPhone([&](const zrmirvo::Phone& phone) {
            if (found == nullptr) found = std::make_unique<zrmirvo::Phone>(phone);
        });
        if (!dispatchUntil(session, [&] { return found != nullptr; })) abort();
        session.onPhone(nullptr);
        // The session's thread has gone on from the phone, whose callback is there by now.
        EXPECT_TRUE(found->readyForPairing(true).get());
        return *found;
    }

    const testing_support::Folder mFolder;
    std::unique_ptr<testing_support::Process> mEmulator;
};

}  // namespace session_test

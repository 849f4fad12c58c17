#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "standin/Deadline.h"
#include "standin/Directory.h"
#include "standin/Host.h"
#include "standin/ServiceAddress.h"
#include "tests/standin/Wire.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"
#include "tests/support/Task.h"

// Hosts of this process: their directory, their name, their end.

namespace accessory::standin {
namespace {

namespace fs = std::filesystem;
using testing_support::entries;
using testing_support::Folder;
using testing_support::LogCapture;
using testing_support::Signal;
using testing_support::Task;

class HostTest : public testing::Test {
protected:
    Folder mDirectory;
    LogCapture mLog;
};

TEST_F(HostTest, looksForTheDirectoryInItsPlaces) {
    const std::string user = std::to_string(geteuid());
    const struct {
        const char* own;
        const char* runtime;
        const char* temporary;
        std::string expected;
    } rows[] = {
        {"/a", "/b", "/c", "/a"},
        {"", "/b", "/c", "/b/service_framework"},
        {"", "", "/c", "/c/service_framework-" + user},
        {"", "", "", "/tmp/service_framework-" + user},
    };
    for (const auto& row : rows) {
        setenv("SERVICE_FRAMEWORK_DIR", row.own, 1);
        setenv("XDG_RUNTIME_DIR", row.runtime, 1);
        setenv("TMPDIR", row.temporary, 1);
        EXPECT_EQ(serviceDirectory(), row.expected);
    }
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("TMPDIR");
}

TEST_F(HostTest, usesNoDirectoryThatOthersCouldEnter) {
    const std::string place = mDirectory.path() + "/place";
    const struct {
        const char* what;
        std::function<void()> make;
        bool usable;
    } rows[] = {
        {"missing", [] {}, true},
        {"right", [&] { mkdir(place.c_str(), 0700); }, true},
        {"open to others", [&] { mkdir(place.c_str(), 0700), chmod(place.c_str(), 0711); }, false},
        {"a file", [&] { std::ofstream(place) << "x"; }, false},
        {"a link", [&] { fs::create_directory_symlink(mDirectory.path(), place); }, false},
        {"a link with a slash behind it",
         [&] {
             fs::create_directory_symlink(mDirectory.path(), place);
             setenv("SERVICE_FRAMEWORK_DIR", (place + "//").c_str(), 1);
         },
         false},
        {"a link as the folder it points at",
         [&] {
             fs::create_directory_symlink(mDirectory.path(), place);
             setenv("SERVICE_FRAMEWORK_DIR", (place + "/./.").c_str(), 1);
         },
         false},
        {"with a slash behind it",
         [&] { setenv("SERVICE_FRAMEWORK_DIR", (place + "/").c_str(), 1); }, true},
        {"too long", [&] { setenv("SERVICE_FRAMEWORK_DIR", std::string(100, 'x').c_str(), 1); },
         false},
        {"below nothing", [&] { setenv("SERVICE_FRAMEWORK_DIR", (place + "/deep").c_str(), 1); },
         false},
        {"another user's",
         [&] {
             mkdir(place.c_str(), 0700);
             // Where that is not possible, it is made unusable in another way.
             if (chown(place.c_str(), 65534, 65534) != 0) chmod(place.c_str(), 0);
         },
         false},
    };
    for (const auto& row : rows) {
        setenv("SERVICE_FRAMEWORK_DIR", place.c_str(), 1);
        row.make();
        {
            ServiceHost host(new TestInfo, echo);
            EXPECT_EQ(host.start(), row.usable) << row.what;
            EXPECT_EQ(mLog.take("ServiceFramework").size(), row.usable ? 0u : 1u) << row.what;
            EXPECT_EQ(bind() != nullptr, row.usable) << row.what;
            mLog.take();
        }
        fs::remove_all(place);
    }
}

TEST_F(HostTest, hasItsNameForItself) {
    const std::string socketFile = mDirectory.path() + "/test.service";
    for (int i = 0; i < 2; ++i) {
        // What a dead host leaves behind.
        std::ofstream(socketFile) << "";
        std::ofstream(socketFile + ".lock") << "";
        ServiceHost host(new TestInfo, echo);
        ASSERT_TRUE(host.start());
        EXPECT_FALSE(host.start());
        // Who is refused leaves the name to whom it belongs.
        EXPECT_FALSE(ServiceHost(new TestInfo, echo).start());
        ServiceHost second(new TestInfo, echo);
        EXPECT_FALSE(second.start());
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 3u);
        EXPECT_EQ(ask(bind(), kEcho), kEcho);
        host.stop();
        EXPECT_EQ(entries(mDirectory.path()), 0u);
        EXPECT_TRUE(second.start());
        EXPECT_EQ(ask(bind(), kEcho), kEcho);
        second.stop();
        // As good as new.
        EXPECT_TRUE(second.start());
        EXPECT_EQ(ask(bind(), kEcho), kEcho);
    }
    EXPECT_EQ(entries(mDirectory.path()), 0u);
}

TEST_F(HostTest, removesNoFileOfItsSuccessor) {
    const std::string socketFile = mDirectory.path() + "/test.service";
    ServiceHost first(new TestInfo, echo);
    ASSERT_TRUE(first.start());
    fs::remove(socketFile + ".lock");
    ServiceHost second(new TestInfo, echo);
    ASSERT_TRUE(second.start());
    first.stop();
    EXPECT_EQ(ask(bind(), kEcho), kEcho);
    EXPECT_FALSE(first.start());  // the successor has its lock, too
    second.stop();
    EXPECT_EQ(entries(mDirectory.path()), 0u);
    // Without a successor it removes its own.
    ASSERT_TRUE(first.start());
    fs::remove(socketFile + ".lock");
    first.stop();
    EXPECT_EQ(entries(mDirectory.path()), 0u);
    mLog.take();
    fs::create_directory(socketFile + ".lock");
    EXPECT_FALSE(first.start());
    EXPECT_EQ(mLog.take("ServiceFramework"),
              (std::vector<std::string>{"E/ServiceFramework: cannot open " + socketFile +
                                        ".lock: Is a directory"}));
}

TEST_F(HostTest, removesWhatAKilledHostLeftBehind) {
    const struct {
        const char* name;
        mode_t kind;
        bool stays;
    } rows[] = {{".0123456789abcdef", S_IFSOCK, false},
                {".fedcba9876543210", S_IFSOCK, false},
                {".another.service", S_IFSOCK, true},
                {"another.service.of.this.user", S_IFSOCK, true},
                {".0000000000000000", S_IFREG, true}};
    const auto pathOf = [&](const char* name) { return mDirectory.path() + "/" + name; };
    for (const auto& row : rows)
        ASSERT_EQ(mknod(pathOf(row.name).c_str(), row.kind | 0600, 0), 0);
    ServiceHost host(new TestInfo, echo);
    ASSERT_TRUE(host.start());
    for (const auto& row : rows)
        EXPECT_EQ(fs::exists(pathOf(row.name)), row.stays) << row.name;
}

TEST_F(HostTest, waitsForItsHandlersWhenItStops) {
    Signal handling;
    Signal mayEnd;
    std::atomic<bool> ended{false};
    ServiceHost host(new TestInfo, [&](ServiceHost::Request& request) {
        handling.set();
        EXPECT_TRUE(mayEnd.wait());
        ended = true;
        return echo(request);
    });
    ASSERT_TRUE(host.start());
    const sp<ServiceClient> client = bind();
    std::thread asking([&] { EXPECT_EQ(ask(client, 5), kNone); });
    ASSERT_TRUE(handling.wait());
    std::thread stopping([&] {
        host.stop();
        EXPECT_TRUE(ended);
    });
    asking.join();  // the connection is closed while the handler still runs
    mayEnd.set();
    stopping.join();
}

TEST_F(HostTest, answersEachRequestThatHasComeWhenItStops) {
    Signal handling[2];
    Signal mayEnd[2];
    Host host(new TestInfo, [&](ServiceHost::Request& request) {
        handling[request.connection - 1].set();
        EXPECT_TRUE(mayEnd[request.connection - 1].wait());
        return echo(request);
    });
    Pair pairs[] = {makePair(), makePair()};
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(host.adopt(std::move(pairs[i].own)));
        sendTo(pairs[i].peer, frame(FrameKind::kRequest, 1, 8));
        ASSERT_TRUE(handling[i].wait());
    }
    Task stopping([&] { host.stop(std::chrono::nanoseconds(testing_support::kDeadline).count()); });
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(stopping.waits());
        mayEnd[i].set();
        EXPECT_EQ(receiveFrom(pairs[i].peer), frame(FrameKind::kReply, 1, 8));
        EXPECT_TRUE(receiveFrom(pairs[i].peer).empty());
        EXPECT_EQ(host.connections().size(), 1u - i);
    }
}

TEST_F(HostTest, stopsAlthoughAClientDoesNotRead) {
    Host host(new TestInfo, [](ServiceHost::Request&) {
        const sp<TestReply> reply = new TestReply;
        reply->bytes.resize(4u << 20);
        return reply;
    });
    Pair pair = makePair();
    ASSERT_TRUE(host.adopt(std::move(pair.own)));
    sendTo(pair.peer, frame(FrameKind::kRequest, 1, 8));
    // The answer has begun, and fits into no socket.
    EXPECT_EQ(receiveFrom(pair.peer).size(), kMaxDatagram);
    host.stop(0);
    EXPECT_TRUE(host.connections().empty());
}

TEST_F(HostTest, startsAfterAFailedStart) {
    const std::string socketFile = mDirectory.path() + "/test.service";
    ServiceHost host(new TestInfo, echo);
    ASSERT_TRUE(fs::create_directory(socketFile));
    EXPECT_FALSE(host.start());
    EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u);
    // It keeps neither the name nor a file.
    EXPECT_EQ(entries(mDirectory.path()), 1u);
    ASSERT_TRUE(fs::remove(socketFile));
    for (int i = 0; i < 2; ++i) {
        ServiceHost other(new TestInfo, echo);
        EXPECT_TRUE(other.start());
        other.stop();
        EXPECT_TRUE(host.start());
        EXPECT_EQ(ask(bind(), kEcho), kEcho);
        host.stop();
    }
}

TEST_F(HostTest, tellsALostServiceFromOneThatCannotBeReachedNow) {
    const std::string path = mDirectory.path() + "/test.service";
    ServiceHost host(new TestInfo, echo);
    ASSERT_TRUE(host.start());
    ServiceAddress address(path);
    ASSERT_TRUE(address.bind());
    const auto connects = [&] {
        bool lost = false;
        const bool connected = static_cast<bool>(address.connect(Deadline(60'000), lost));
        // The host, which is of this process, may have complained that it cannot accept.
        size_t lines = 0;
        for (const std::string& line : mLog.take("ServiceFramework"))
            if (line.find(path) != std::string::npos) ++lines;
        EXPECT_EQ(lines, connected ? 0u : 1u);
        EXPECT_FALSE(connected && lost);
        return connected ? "connected" : lost ? "lost" : "not now";
    };
    EXPECT_STREQ(connects(), "connected");
    const rlim_t before = limitDescriptors(0);
    const char* without = connects();
    limitDescriptors(before);
    EXPECT_STREQ(without, "not now");
    host.stop();
    EXPECT_STREQ(connects(), "lost");
    // The socket of a dead host, and that of a successor.
    ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_STREQ(connects(), "lost");
    ASSERT_TRUE(host.start());
    EXPECT_STREQ(connects(), "lost");
}

TEST_F(HostTest, refusesWhatItCannotServe) {
    Host host(new TestInfo, echo);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    EXPECT_FALSE(host.adopt(UniqueFd(ends[0])));
    close(ends[1]);
    EXPECT_FALSE(host.adopt(UniqueFd()));
    host.notify(nullptr);
    sp<ServiceInfo> nothing;
    EXPECT_TRUE(ServiceDiscoverer::self()->bindTo(nothing) == nullptr);
    EXPECT_EQ(mLog.take("ServiceFramework").size(), 4u);
}

TEST_F(HostTest, takesTheDefaultForATimeoutThatIsNone) {
    ServiceHost host(new TestInfo, echo);
    ASSERT_TRUE(host.start());
    setTimeout("1");
    EXPECT_EQ(requestTimeout(), 1);
    for (const std::string text : {"", "0", "-5", "12x", "99999999999"}) {
        setTimeout(text.c_str());
        EXPECT_EQ(ask(bind(), kEcho), kEcho) << text;
        EXPECT_EQ(mLog.take("ServiceFramework").size(), text.empty() ? 0u : 1u) << text;
    }
}

}  // namespace
}  // namespace accessory::standin

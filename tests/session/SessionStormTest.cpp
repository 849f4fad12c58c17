#include <gtest/gtest.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <zrmirvo/Session.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "tests/session/Loop.h"
#include "tests/support/Process.h"

// A session whose service crashes and hangs as it likes.

namespace session_test {
namespace {

using namespace zrmirvo;
using Code = Status::Code;

// What an application sees, checked as it comes. Each callback takes the lock that is held around
// every call.
class HeadUnit {
public:
    explicit HeadUnit(Session& session) : mSession(session) {
        mSession.onService([this](bool there) {
            const std::lock_guard lock(mLock);
            EXPECT_NE(there, mService) << "told twice";
            mService = there;
            EXPECT_TRUE(mLives.empty()) << "phones without a service";
        });
        mSession.onPhone([this](const Phone& phone) {
            const std::lock_guard lock(mLock);
            arrived(phone);
        });
    }

    // Something random with each phone that is there.
    void act(std::mt19937& random) {
        const std::lock_guard lock(mLock);
        for (auto& entry : mLives)
            request(entry.second->phone, random() % 4);
    }

    bool has(size_t phones) const { return mLives.size() == phones; }
    size_t lives() const { return mCount; }
    std::vector<Pending<Status>>& asked() { return mAsked; }
    size_t ended() const { return mEnded; }
    std::mutex& lock() { return mLock; }

private:
    struct Life {
        explicit Life(const Phone& which) : phone(which) {}
        Phone phone;
        bool gone = false;
        int events = 0;
    };

    void arrived(const Phone& phone) {
        ++mCount;
        auto life = std::make_shared<Life>(phone);
        EXPECT_TRUE(mLives.emplace(phone.id(), life).second) << "there twice";
        const auto event = [this, life] {
            const std::lock_guard lock(mLock);
            EXPECT_FALSE(life->gone);
            ++life->events;
        };
        phone.onRunningState([event](int) { event(); });
        phone.onHidEvent([event](ByteSpan) { event(); });
        phone.onGone([this, life] {
            const std::lock_guard lock(mLock);
            EXPECT_FALSE(life->gone) << "gone twice";
            life->gone = true;
            EXPECT_EQ(mLives.erase(life->phone.id()), 1u);
        });
        request(phone, 0);
    }

    void request(const Phone& phone, unsigned int which) {
        mAsked.push_back(which == 0   ? phone.key(Key::Back, Press::Down)
                         : which == 1 ? phone.touch(TouchAction::Move, {{0, 1, 2}})
                         : which == 2 ? phone.calibrate()
                                      : mSession.connect("usb"));
        mAsked.back().then([this](Status) {
            const std::lock_guard lock(mLock);
            ++mEnded;
        });
    }

    Session& mSession;
    std::mutex mLock;
    bool mService = false;
    size_t mCount = 0;
    size_t mEnded = 0;
    std::map<unsigned int, std::shared_ptr<Life>> mLives;
    std::vector<Pending<Status>> mAsked;
};

TEST_F(SessionTest, survivesFiftyCrashesAtRandomMoments) {
    constexpr int kCrashes = 50;
    const char* given = getenv("SESSION_SEED");
    const unsigned int seed = given == nullptr ? 20261123 : static_cast<unsigned int>(atoi(given));
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Session::Options options;
    options.firstPause = std::chrono::milliseconds(1);
    options.longestPause = std::chrono::milliseconds(20);
    startEmulator("attach 7\nattach 8");
    Session session("3.6", options);
    HeadUnit unit(session);
    // By the way of dispatched events, never of time.
    for (int crash = 0; crash < kCrashes; ++crash) {
        // Some die before the session has started them, in the middle of it, or much later.
        const size_t dies = random() % 40;
        mEmulator->type("repeat 200\nstate 7 1\nhid 8 01\nstate 8 2\nhid 7 0203\nend");
        const int detaches = static_cast<int>(random() % 3);
        for (int i = 0; i < detaches; ++i)
            mEmulator->type("detach 8\nattach 8");
        for (size_t step = 0; step < dies; ++step) {
            unit.act(random);
            ASSERT_TRUE(waitFor(session.fd()));
            session.dispatch();
        }
        if (random() % 4 == 0) {
            mEmulator->signal(SIGSTOP);
            unit.act(random);
            session.dispatch();
        }
        startEmulator("attach 7\nattach 8");
    }
    ASSERT_TRUE(dispatchUntil(session, [&] { return unit.has(2); }));
    // Nothing has been lost: each request has a status, and has told it.
    for (const Pending<Status>& pending : unit.asked())
        EXPECT_NE(pending.get().code(), Code::SecondSession);
    ASSERT_TRUE(dispatchUntil(session, [&] { return unit.ended() == unit.asked().size(); }));
    EXPECT_GE(unit.lives(), 4u);
    mEmulator->kill();
    ASSERT_TRUE(dispatchUntil(session, [&] { return unit.has(0); }));
}

TEST_F(SessionTest, aHangingServiceDoesNotHoldUpTheLoop) {
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "2000", 1);
    startEmulator();
    Session session("3.6");
    HeadUnit unit(session);
    ASSERT_TRUE(dispatchUntil(session, [&] { return unit.has(1) && unit.ended() == 1; }));
    mEmulator->signal(SIGSTOP);

    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const itimerspec everyMillisecond{{0, 1000000}, {0, 1000000}};
    timerfd_settime(timer, 0, &everyMillisecond, nullptr);
    // Between a request and its status the loop turns with each tick, and takes requests.
    std::mt19937 random(1);
    size_t turns = 0;
    while (unit.ended() == 1) {
        pollfd entries[]{{session.fd(), POLLIN, 0}, {timer, POLLIN, 0}};
        ASSERT_GT(poll(entries, 2, 60000), 0);
        uint64_t ticks = 0;
        if (entries[1].revents != 0 && read(timer, &ticks, sizeof(ticks)) == sizeof(ticks)) {
            ++turns;
            if (turns <= 20) unit.act(random);
        }
        session.dispatch();
    }
    close(timer);
    EXPECT_GE(turns, 20u);
    mEmulator->signal(SIGCONT);
    ASSERT_TRUE(dispatchUntil(session, [&] { return unit.ended() == unit.asked().size(); }));
}

TEST_F(SessionTest, aLockAroundEveryCallButDispatchIsAllowed) {
    startEmulator("attach 7\nattach 8");
    std::mutex* lock = nullptr;
    {
        auto session = std::make_unique<Session>("3.6");
        auto unit = std::make_unique<HeadUnit>(*session);
        ASSERT_TRUE(dispatchUntil(*session, [&] { return unit->has(2); }));
        std::mt19937 random(1);
        mEmulator->type("repeat 1000\nstate 7 1\nhid 8 01\nend");
        for (int i = 0; i < 20; ++i) {
            unit->act(random);
            const std::lock_guard held(unit->lock());
            EXPECT_EQ(unit->asked().back().get().text(), "done");
            session->stop();
            EXPECT_GE(session->fd(), 0);
        }
        session->dispatch();
        lock = &unit->lock();
        const std::lock_guard held(*lock);
        session = nullptr;
    }
}

}  // namespace
}  // namespace session_test

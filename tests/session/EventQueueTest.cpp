#include <gtest/gtest.h>
#include <poll.h>
#include <zrmirvo/EventQueue.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/session/Loop.h"
#include "tests/support/Process.h"

namespace session_test {
namespace {

using testing_support::eventually;
using namespace zrmirvo;

bool readable(const EventQueue& queue) {
    pollfd entry{queue.fd(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

TEST(EventQueueTest, dispatchRunsWhatWaitedWhenItBegan) {
    EventQueue queue;
    std::string ran;
    EXPECT_FALSE(readable(queue));
    EXPECT_EQ(queue.dispatch(), 0u);
    queue.post([&] {
        ran += 'a';
        queue.post([&] { ran += 'c'; });
    });
    queue.post([&] { ran += 'b'; });
    EXPECT_EQ(queue.dispatch(), 2u);
    EXPECT_EQ(ran, "ab");
    EXPECT_TRUE(readable(queue));
    EXPECT_EQ(queue.dispatch(), 1u);
    EXPECT_EQ(ran, "abc");
    EXPECT_FALSE(readable(queue));

    // What is refused meanwhile is told by the next dispatch, too.
    const auto refuse = [&](size_t) { EXPECT_FALSE(queue.post([] {}, size_t{1} << 40)); };
    queue.onOverflow(refuse);
    refuse(1);
    EXPECT_EQ(queue.dispatch(), 1u);
    EXPECT_EQ(queue.dispatch(), 1u);
}

TEST(EventQueueTest, dispatchMayBeNestedAndSurvivesAnException) {
    EventQueue queue;
    std::string ran;
    queue.post([&] {
        ran += '(';
        EXPECT_EQ(queue.dispatch(), 1u);
        ran += ')';
    });
    queue.post([&] {
        ran += 'x';
        throw std::runtime_error("from an event");
    });
    queue.post([&] { ran += 'y'; });
    EXPECT_THROW(queue.dispatch(), std::runtime_error);
    EXPECT_TRUE(readable(queue));
    EXPECT_EQ(queue.dispatch(), 1u);
    EXPECT_EQ(ran, "(xy");
}

TEST(EventQueueTest, aQueueMayGoInsideItsOwnEvent) {
    auto queue = std::make_unique<EventQueue>();
    const auto alive = std::make_shared<bool>();
    bool ranMore = false;
    queue->post([&, alive] { queue.reset(); });
    queue->post([&, alive] { ranMore = true; });
    EXPECT_EQ(queue->dispatch(), 1u);
    EXPECT_FALSE(ranMore);
    EXPECT_EQ(alive.use_count(), 1);
}

TEST(EventQueueTest, whatFindsNoRoomIsCountedInItsPlace) {
    struct Row {
        const char* name;
        EventQueue::Bounds bounds;
        std::vector<size_t>
            bytes;  // of the events a, b, c, …; 0 stands for a dispatch between them
        const char* ran;
    };
    const Row rows[] = {
        {"within the bounds", {3, 30}, {10, 10, 10}, "abc"},
        {"too many", {2, 100}, {1, 1, 1, 1}, "ab<2>"},
        {"too many bytes", {9, 20}, {10, 11, 10, 1}, "a<1>c<1>"},
        {"one that never fits", {9, 20}, {21, 21, 20}, "<2>c"},
        {"room again", {1, 20}, {20, 1, 0, 20, 1}, "a<1>c<1>"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EventQueue queue(row.bounds);
        std::string ran;
        queue.onOverflow([&](size_t count) {
            const auto again = [&](size_t more) { ran += "<" + std::to_string(more) + ">"; };
            again(count);
            queue.onOverflow(again);
        });
        char name = 'a';
        for (const size_t bytes : row.bytes) {
            if (bytes == 0) {
                queue.dispatch();
                continue;
            }
            const bool fits = std::string(row.ran).find(name) != std::string::npos;
            EXPECT_EQ(queue.post([&ran, own = name] { ran += own; }, bytes), fits) << name;
            ++name;
        }
        EXPECT_TRUE(readable(queue));
        queue.dispatch();
        EXPECT_EQ(ran, row.ran);
        EXPECT_FALSE(readable(queue));
    }
}

TEST(EventQueueTest, whoIsToldOfAnOverflowKeepsItsState) {
    EventQueue queue({0, 0});
    size_t all = 0;
    queue.onOverflow([&all, sum = size_t{0}](size_t count) mutable { all = sum += count; });
    for (int i = 0; i < 2; ++i) {
        queue.post([] {});
        queue.dispatch();
    }
    EXPECT_EQ(all, 2u);
}

// Writes down what it is told.
class Recorder final : public ZRMirvoCallback, public ZRMirvoManagerCallback {
public:
    std::string told;

    void onRunningStateChange(int state) override {
        told += "state " + std::to_string(state) + ";";
    }
    void onControlUnavailable() override { told += "unavailable;"; }
    void onDeviceRequestData(unsigned char* data, int length) override {
        told += "data " + text(data, static_cast<size_t>(length)) + ";";
    }
    void onDeviceRequest(int a, int b) override {
        told += "request " + std::to_string(a) + " " + std::to_string(b) + ";";
    }
    void onScreenOrientationChange(int value) override {
        told += "orientation " + std::to_string(value) + ";";
    }
    void onTimeDateResponse(const ZRMirvoTimeDate* time) override {
        told += "time " + std::to_string(time->date1) + " " + std::to_string(time->dayOfWeek) + ";";
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override {
        told += "descriptor " + text(data, length) + ";";
    }
    void onHidEvent(unsigned char* data, unsigned int length) override {
        told += "hid " + text(data, length) + ";";
    }
    void onDeviceResponse() override { told += "response;"; }

    void onError() override { told += "error;"; }
    void onAttach(unsigned int id) override { told += "attach " + std::to_string(id) + ";"; }
    void onDetach(unsigned int id) override { told += "detach " + std::to_string(id) + ";"; }

private:
    static std::string text(const unsigned char* data, size_t length) {
        EXPECT_NE(data, nullptr);
        return {data, data + length};
    }
};

TEST(EventQueueTest, adaptersCopyAndHandOn) {
    EventQueue queue;
    Recorder recorder;
    QueuedCallback phone(queue, recorder);
    QueuedManagerCallback manager(queue, recorder);
    ZRMirvoCallback& to = phone;
    ZRMirvoManagerCallback& toManager = manager;
    unsigned char bytes[] = {'H', 'i', '!'};
    ZRMirvoTimeDate time{1, 2, 3, 4, 5, 6, 7, 8, 9};
    toManager.onAttach(7);
    to.onRunningStateChange(4);
    to.onControlUnavailable();
    to.onDeviceRequestData(bytes, 2);
    to.onDeviceRequest(5, -6);
    to.onScreenOrientationChange(8);
    to.onTimeDateResponse(&time);
    to.onHidReportDescriptor(bytes, 3);
    to.onHidEvent(nullptr, 0);
    to.onDeviceResponse();
    toManager.onDetach(7);
    toManager.onError();
    bytes[0] = bytes[1] = bytes[2] = '-';
    time = {};
    EXPECT_EQ(recorder.told, "");
    EXPECT_EQ(queue.dispatch(), 12u);
    EXPECT_EQ(recorder.told,
              "attach 7;state 4;unavailable;data Hi;request 5 -6;orientation 8;time 1 9;"
              "descriptor Hi!;hid ;response;detach 7;error;");
}

TEST(EventQueueTest, nothingArrivesAfterAnAdapter) {
    EventQueue queue({4, 100});
    Recorder first;
    Recorder second;
    size_t missing = 0;
    queue.onOverflow([&](size_t count) { missing += count; });
    auto goes = std::make_unique<QueuedCallback>(queue, first);
    QueuedCallback stays(queue, second);
    for (ZRMirvoCallback* to : std::vector<ZRMirvoCallback*>{&stays, goes.get()}) {
        to->onRunningStateChange(1);
        to->onRunningStateChange(2);
    }
    static_cast<ZRMirvoCallback&>(*goes).onDeviceResponse();
    goes.reset();
    EXPECT_TRUE(queue.post([&] { EXPECT_EQ(missing, 1u) << "behind what was dropped"; }));
    queue.dispatch();
    EXPECT_EQ(first.told, "");
    EXPECT_EQ(second.told, "state 1;state 2;");

    // Also when it goes inside its own event.
    goes = std::make_unique<QueuedCallback>(queue, first);
    queue.post([&] { goes.reset(); });
    static_cast<ZRMirvoCallback&>(*goes).onDeviceResponse();
    queue.dispatch();
    EXPECT_EQ(first.told, "");
}

TEST(EventQueueTest, nothingIsLostDoubledOrReorderedBetweenThreads) {
    constexpr int kThreads = 4;
    constexpr int kEvents = 5000;
    EventQueue queue({kThreads * kEvents, 0});
    std::vector<int> next(kThreads, 0);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kEvents; ++i)
                queue.post([&, thread, i] { EXPECT_EQ(next[static_cast<size_t>(thread)]++, i); });
        });
    }
    size_t ran = 0;
    while (ran < kThreads * kEvents) {
        ASSERT_TRUE(waitFor(queue.fd()));
        ran += queue.dispatch();
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(readable(queue));
    EXPECT_EQ(next, std::vector<int>(kThreads, kEvents));
}

// The whole way: a lock of the application is held around everything but dispatch() and taken in
// each callback.
class Locked final : public ZRMirvoManagerCallback {
public:
    Locked(std::mutex& lock, Recorder& recorder) : mLock(lock), mRecorder(recorder) {}
    void onError() override { note().onError(); }
    void onAttach(unsigned int id) override { note().onAttach(id); }
    void onDetach(unsigned int id) override { note().onDetach(id); }

private:
    Recorder& note() {
        const std::lock_guard lock(mLock);
        return mRecorder;
    }

    std::mutex& mLock;
    Recorder& mRecorder;
};

TEST(EventQueueTest, aLockAroundUnregisteringIsAllowed) {
    const testing_support::Folder folder;
    testing_support::Process emulator({EMULATOR, "--dir", folder.path()});
    ASSERT_TRUE(emulator.waitForLine("ready: mirvo.accessory.manager in " + folder.path()));
    EventQueue queue;
    Recorder recorder;
    std::mutex lock;
    Locked callback(lock, recorder);
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    ASSERT_NE(manager, nullptr);
    for (int round = 1; round <= 50; ++round) {
        const bool dispatches = round % 2 == 0;
        const std::string id = std::to_string(round);
        std::unique_lock held(lock);
        auto events = std::make_unique<QueuedManagerCallback>(queue, callback);
        ASSERT_TRUE(manager->RegisterCallback(events.get()));
        emulator.type("attach " + id);
        ASSERT_TRUE(waitFor(queue.fd()));
        // More are under way on a delivery thread while the adapter goes.
        emulator.type("repeat 50\ndetach " + id + "\nattach " + id + "\nend");
        manager->UnregisterCallback(events.get());
        if (!dispatches) events.reset();
        held.unlock();
        queue.dispatch();
        EXPECT_EQ(recorder.told.empty(), !dispatches) << recorder.told;
        recorder.told.clear();
        queue.dispatch();
        EXPECT_EQ(recorder.told, "");
    }
    ZRMirvoManager::ReleaseInstance(manager);
}

TEST(EventQueueTest, aProgramMayHaveClosedItsStandardInput) {
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        EventQueue queue;
        EXPECT_EQ(queue.fd(), STDIN_FILENO);
        queue.post([] {});
        EXPECT_EQ(queue.dispatch(), 1u);
    }
    dup2(input, STDIN_FILENO);
    close(input);
}

}  // namespace
}  // namespace session_test

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "tests/support/TextContent.h"

namespace testing_support {

// What one framework may do and another may not. The same tests must pass over each of them, so the
// additional behaviour shows neither among the events nor in the log.
enum class Habit {
    kNone,
    // It keeps a listener in its client only, also while it delivers, and no reference to a service
    // description. A listener that goes during its own delivery, and a description that goes before
    // it was used, end the program.
    kHoldsNothing,
    // Within each request it delivers a notification of unknown type to every listener.
    kDeliversInRequests,
    // It delivers null before each notification.
    kDeliversNull,
    // It keeps removed listeners and delivers notifications of unknown type, and null, to them.
    kKeepsListeners,
};

// Takes the place of the service framework in a program that links zrmirvo_fake_framework and the
// object libraries under test. The code under test binds to the object that was made last, so make
// one at the beginning of a test. Messages are given and recorded in the form that TextContent.h
// describes.
//
//     FakeFramework framework;
//     framework.answer("129: 0, -1, -1L, \".\"");
//     const sp<MirvoManager> manager = new MirvoManager;          // client 0
//     EXPECT_EQ(manager->startup(), 0);
//     EXPECT_EQ(framework.requests().back(), "131: 1, -1, -1L, \".\", 0");
//     framework.notify(0, "130: 1, 5");
//
// As in a real framework, the factories of the client's own service description make the incoming
// messages, and their deserialization() fills them.
//
// Threads: thread-safe. Requests run on the caller's thread. notify() does so, too, so a test
// chooses the delivery thread. No lock is held in a handler or a listener.
class FakeFramework {
public:
    // Without an argument, the habit is the one that FAKE_FRAMEWORK_HABIT names, if it is set.
    explicit FakeFramework(Habit habit = habitOfEnvironment());
    // Clients that still exist live on, and get no more replies.
    ~FakeFramework();

    FakeFramework(const FakeFramework&) = delete;
    FakeFramework& operator=(const FakeFramework&) = delete;

    // Sets what decides whether a binding succeeds. Without it every binding does. May block.
    void onBind(std::function<bool()> accept);
    // Sets what makes the reply from the request; "" is no reply. Without it and without answer(),
    // there is no reply. May block.
    void onRequest(std::function<std::string(const std::string& request)> handler);
    // Sets the same reply for every request.
    void answer(const std::string& reply);

    // Returns what has happened so far, in order, and forgets it. Clients are numbered from 0,
    // those that were refused included.
    //
    //     0 bind mirvo.accessory.manager
    //     0 refused
    //     0 listen                          setNotifyListener
    //     0 request 131: 1, -1, -1L, ".", 0
    //     0 unlisten                        removeNotifyListener with the listener that is set;
    //     0 unlisten another                with another one, or none
    //     0 release                         the last reference to the client has gone
    //     startThreadPool
    std::vector<std::string> takeEvents();
    // Adds an event of the test's own, such as the call of a notifier.
    void record(const std::string& event);
    // The requests since the events were last taken, without their clients. Nothing is forgotten.
    std::vector<std::string> requests();
    // How many clients there have been. The next one has this number.
    size_t allClients();
    // How many clients have not been released.
    size_t liveClients();

    // Makes a notification for a client. `-1: 2` is the framework's own, about a lost service.
    // `null` stands for one that the factory could not make.
    android::sp<accessory::ServiceNotify> notification(size_t client, const std::string& message);
    // The present listener of a client. A test may call it with a notification at any later time,
    // also when it is not registered any more.
    android::sp<accessory::ServiceNotifyListener> listener(size_t client);
    // Delivers a notification to the listener of a client, on this thread. False when the client
    // has no listener.
    bool notify(size_t client, const std::string& message);

    struct State;

private:
    static Habit habitOfEnvironment();

    const std::shared_ptr<State> mState;
    std::shared_ptr<State> mPrevious;
};

}  // namespace testing_support

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "tests/support/TextContent.h"

namespace testing_support {

// What a framework may do besides what they all do. Each is a framework on which the same tests
// must pass, so what it does beyond them is neither among the events nor in the log.
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

// Stands in the place of the service framework: a program that links zrmirvo_fake_framework and the
// object libraries under test, and not the framework, binds to the one that was made last. Make one
// first thing in a test. Messages are given and recorded in the form that TextContent.h describes.
//
//     FakeFramework framework;
//     framework.answer("129: 0, -1, -1L, \".\"");
//     const sp<MirvoManager> manager = new MirvoManager;          // client 0
//     EXPECT_EQ(manager->startup(), 0);
//     EXPECT_EQ(framework.requests().back(), "131: 1, -1, -1L, \".\", 0");
//     framework.notify(0, "130: 1, 5");
//
// As with a real one, incoming messages are made by the factories of the client's own service
// description, and filled by their deserialization().
//
// Threads: thread-safe. Requests run on the caller's thread; so does notify(), which is to say that
// a test chooses the delivering thread. No lock is held in a handler or a listener.
class FakeFramework {
public:
    // Without an argument, the habit is the one that FAKE_FRAMEWORK_HABIT names, if it is set.
    explicit FakeFramework(Habit habit = habitOfEnvironment());
    // Objects that are still there live on and are answered nothing.
    ~FakeFramework();

    FakeFramework(const FakeFramework&) = delete;
    FakeFramework& operator=(const FakeFramework&) = delete;

    // Whether a binding succeeds; always, when this was not called. May block.
    void onBind(std::function<bool()> accept);
    // What each request is answered: from the request to the reply, "" for none, as also when
    // neither this nor answer() was called. May block.
    void onRequest(std::function<std::string(const std::string& request)> handler);
    // The same reply for every request.
    void answer(const std::string& reply);

    // What happened so far, in order, and is then forgotten. Clients count from 0, also those that
    // were refused.
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
    // Puts something of the test's own among the events, such as the call of a notifier.
    void record(const std::string& event);
    // Only the requests since the events were last taken, without the client; nothing is forgotten.
    std::vector<std::string> requests();
    // How many clients there have been; the next one has this number.
    size_t allClients();
    // How many clients there are that have not been released.
    size_t liveClients();

    // Makes a notification for a client. `-1: 2` is the framework's own about a lost service, and
    // `null` is what its factory could not make.
    android::sp<accessory::ServiceNotify> notification(size_t client, const std::string& message);
    // The listener that a client has at present. May be called with a notification at any time
    // later, also when it is not registered any more.
    android::sp<accessory::ServiceNotifyListener> listener(size_t client);
    // Delivers a notification to the listener of a client, on this thread. False when there is
    // none.
    bool notify(size_t client, const std::string& message);

    struct State;

private:
    static Habit habitOfEnvironment();

    const std::shared_ptr<State> mState;
    std::shared_ptr<State> mPrevious;
};

}  // namespace testing_support

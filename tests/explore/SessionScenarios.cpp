#include <zrmirvo/EventQueue.h>
#include <zrmirvo/Session.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <memory>
#include <thread>

#include "tests/explore/Callback.h"
#include "tests/explore/Framework.h"
#include "tests/explore/Scenarios.h"

namespace explorer {

using namespace zrmirvo;

namespace {

constexpr size_t kInstance = 1;
constexpr unsigned int kId = 7;

Framework& framework() {
    return Framework::self();
}

void anAdapterGoesDuringAPost() {
    std::unique_ptr<Prelude> prelude = std::make_unique<Prelude>();
    ZRMirvoManager* const manager = ZRMirvoManager::GetInstance("3.6");
    ZRMirvo* const instance = manager->GetMirvoInstance(kId);
    EventQueue queue;
    Callback callback;
    auto adapter = std::make_unique<QueuedCallback>(queue, callback);
    instance->RegisterCallback(adapter.get());
    prelude.reset();
    std::thread first([] { framework().state(kInstance, kId, 1); });
    std::thread second([] { framework().state(kInstance, kId, 2); });
    size_t run = queue.dispatch();
    instance->UnregisterCallback(adapter.get());
    adapter.reset();
    callback.end();
    require(queue.dispatch() == 0, "an event is left of an adapter that has gone");
    require(run == static_cast<size_t>(callback.calls()), "an event was lost or doubled");
    first.join();
    second.join();
    ZRMirvoManager::ReleaseInstance(manager);
}

void eventsOfTwoThreadsAllArrive() {
    EventQueue queue;
    int ran = 0;
    const auto post = [&] { queue.post([&] { ++ran; }); };
    std::thread first(post);
    std::thread second(post);
    size_t told = queue.dispatch();
    first.join();
    second.join();
    told += queue.dispatch();
    require(ran == 2 && told == 2, "an event was lost or doubled");
}

// A session with its phone, and what has been told of it.
struct Drive {
    explicit Drive(SessionOptions options = {}) {
        const Prelude prelude;
        framework().ids = {kId};
        session = std::make_unique<Session>("3.6", options);
        session->onPhone([this](Phone phone) {
            require(present == 0, "a phone comes twice");
            ++present;
            ++lives;
            phone.onRunningState(
                [this](int) { require(present == 1, "a phone that is gone moves"); });
            phone.onGone([this] { --present; });
            last = std::make_unique<Phone>(phone);
        });
        awaitLife(1);
    }
    ~Drive() {
        framework().available = true;
        session.reset();
        require(present <= 1, "a phone is told to be gone twice");
        require(framework().liveClients == 0, "a client is left behind");
    }
    void awaitLife(int number) {
        while (lives < number) {
            session->dispatch();
            yield();
        }
    }

    int present = 0;
    int lives = 0;
    std::unique_ptr<Phone> last;
    std::unique_ptr<Session> session;
};

void aSessionGoesWhileItsServiceIsLost() {
    Drive drive;
    std::thread lost([] { framework().lost(0); });
    std::thread state([] { framework().state(kInstance, kId, 1); });
    Pending<Status> key = drive.last->key(Key::Back, Press::Down);
    drive.session->dispatch();
    drive.session.reset();
    require(key.get().code() != Status::Code::Done || framework().requests > 0, "a key is made up");
    lost.join();
    state.join();
}

void everyRequestEndsWithAStatus() {
    Drive drive;
    int ended = 0;
    std::thread lost([] { framework().lost(0); });
    drive.last->key(Key::Back, Press::Down).then([&](Status) { ++ended; });
    drive.last->key(Key::Back, Press::Up).then([&](Status) { ++ended; });
    while (ended < 2) {
        drive.session->dispatch();
        yield();
    }
    lost.join();
}

void aStopEndsRun() {
    Drive drive;
    std::thread stop([&] { drive.session->stop(); });
    drive.session->run();
    stop.join();
}

void theServiceComesBack() {
    Drive drive;
    std::thread lost([] {
        framework().lost(0);
        framework().available = true;
    });
    lost.join();
    drive.awaitLife(2);
}

}  // namespace

std::vector<Scenario> sessionScenarios() {
    constexpr Limits kTwo{2, 1, 0};
    constexpr Limits kTwoOnly{2, 0, 0};
    return {
        {"adapter-goes-during-a-post", anAdapterGoesDuringAPost, kTwo},
        {"events-of-two-threads", eventsOfTwoThreadsAllArrive, {}},
        {"session-goes-during-a-loss", aSessionGoesWhileItsServiceIsLost, kTwoOnly},
        {"requests-during-a-loss", everyRequestEndsWithAStatus, kTwoOnly},
        {"stop-against-run", aStopEndsRun, {}},
        {"service-comes-back", theServiceComesBack, kTwoOnly},
    };
}

}  // namespace explorer

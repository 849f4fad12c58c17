#include <android/log.h>
#include <poll.h>
#include <zrmirvo/EventQueue.h>
#include <zrmirvo/Session.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "bench/CountedMalloc.h"

// Measures what queue and session add to the library: time and allocations of an event and of a
// request. The environment says where the service is. The service must know phone 1.

namespace {

using namespace zrmirvo;
using bench::allocationsOf;
using bench::fail;
using Clock = std::chrono::steady_clock;

constexpr int kEvents = 200000;
constexpr size_t kRequests = 5000;

// Counts the events that arrive.
class EventCounter final : public ZRMirvoCallback {
public:
    int count = 0;

    void onRunningStateChange(int) override { ++count; }
    void onControlUnavailable() override {}
    void onDeviceRequestData(unsigned char*, int) override {}
    void onDeviceRequest(int, int) override {}
    void onScreenOrientationChange(int) override {}
    void onTimeDateResponse(const ZRMirvoTimeDate*) override {}
    void onHidReportDescriptor(unsigned char*, unsigned int) override {}
    void onHidEvent(unsigned char*, unsigned int) override { ++count; }
    void onDeviceResponse() override {}
};

template <typename Work>
double nanoseconds(Work work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void waitFor(int fd) {
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, 10000) != 1) fail("waiting");
}

void measureQueue() {
    EventQueue queue({kEvents, size_t{1} << 30});
    EventCounter counter;
    QueuedCallback adapter(queue, counter);
    ZRMirvoCallback& events = adapter;
    unsigned char report[8] = {};

    // One event after the other, each from the descriptor to the callback.
    const double alone = nanoseconds([&] {
        for (int i = 0; i < kEvents; ++i) {
            events.onHidEvent(report, sizeof(report));
            queue.dispatch();
        }
    });
    // A thousand at once. Only the first and the last of them change the descriptor.
    const double backlog = nanoseconds([&] {
        for (int i = 0; i < kEvents; ++i) {
            events.onHidEvent(report, sizeof(report));
            if (i % 1000 == 999) queue.dispatch();
        }
    });
    // As many as another thread can post, with a loop as in an application.
    const double streamed = nanoseconds([&] {
        counter.count = 0;
        std::thread producer([&] {
            for (int i = 0; i < kEvents; ++i)
                events.onHidEvent(report, sizeof(report));
        });
        while (counter.count < kEvents) {
            waitFor(queue.fd());
            queue.dispatch();
        }
        producer.join();
    });
    const int state = allocationsOf([&] { events.onRunningStateChange(1); });
    const int hid = allocationsOf([&] { events.onHidEvent(report, sizeof(report)); });
    const int run = allocationsOf([&] { queue.dispatch(); });
    printf(
        "a HID event alone: %.0f ns, in a backlog: %.0f ns; between two threads: %.2f million per "
        "second\n"
        "allocations of a state: %d, of a HID event: %d, of their dispatch: %d\n",
        alone / kEvents, backlog / kEvents, kEvents / streamed * 1000, state, hid, run);
}

double measureFacade() {
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    if (manager == nullptr) fail("GetInstance");
    ZRMirvo* instance = manager->GetMirvoInstance(1);
    if (instance == nullptr) fail("GetMirvoInstance");
    std::vector<double> times;
    while (times.size() < kRequests) {
        times.push_back(nanoseconds([&] {
            if (instance->sendKeyEvent(4, true) != 0) fail("sendKeyEvent");
        }));
    }
    ZRMirvoManager::ReleaseInstance(manager);
    return median(times);
}

void measureSession() {
    const double direct = measureFacade();
    Session session("3.6");
    std::unique_ptr<Phone> phone;
    session.onPhone([&](const Phone& found) { phone = std::make_unique<Phone>(found); });
    while (phone == nullptr) {
        waitFor(session.fd());
        session.dispatch();
    }
    std::vector<double> calls;
    std::vector<double> ends;
    bool ended = false;
    const auto note = [&](Status status) {
        if (!status) fail("key");
        ended = true;
    };
    while (calls.size() < kRequests) {
        ended = false;
        ends.push_back(nanoseconds([&] {
            calls.push_back(nanoseconds([&] { phone->key(Key::Back, Press::Down).then(note); }));
            while (!ended) {
                waitFor(session.fd());
                session.dispatch();
            }
        }));
    }
    const int ignored = allocationsOf([&] { phone->key(Key::Back, Press::Down); });
    const int continued =
        allocationsOf([&] { phone->key(Key::Back, Press::Down).then([](Status) {}); });
    if (!phone->calibrate().get()) fail("calibrate");
    const int run = allocationsOf([&] { session.dispatch(); });
    printf(
        "sendKeyEvent: %.1f us; an asynchronous key, to its continuation: %.1f us; its call: %.2f "
        "us\n"
        "allocations of a key: %d, with a continuation: %d, of its dispatch: %d\n",
        direct / 1000, median(ends) / 1000, median(calls) / 1000, ignored, continued, run);
}

}  // namespace

int main() {
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    measureQueue();
    measureSession();
    return 0;
}

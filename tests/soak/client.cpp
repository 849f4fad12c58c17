#include <poll.h>
#include <unistd.h>
#include <zrmirvo/Session.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "accessory/MirvoManager.h"
#include "protocol/ProcessState.h"

// An application that goes on until its input ends, whatever the service does: over the session,
// the facade or the proxies. It prints what it has counted, and ends by abort() when something is
// called that must not be.

namespace {

using android::sp;
using namespace std::chrono_literals;

struct Counts {
    std::atomic<unsigned long> lives{0}, requests{0}, failures{0}, events{0};
} counts;

std::atomic<bool> over{false};

void count(bool done) {
    ++counts.requests;
    if (!done) ++counts.failures;
}

// Waits for the end of the input, and for no longer than `time`. Sets `over` when it has come.
bool ends(std::chrono::milliseconds time) {
    pollfd entry{STDIN_FILENO, POLLIN, 0};
    char byte;
    if (poll(&entry, 1, static_cast<int>(time.count())) == 1 && read(STDIN_FILENO, &byte, 1) <= 0)
        over = true;
    return over;
}

void report() {
    auto next = std::chrono::steady_clock::now();
    do {
        std::printf("%lu %lu %lu %lu\n", counts.lives.load(), counts.requests.load(),
                    counts.failures.load(), counts.events.load());
        std::fflush(stdout);
        next += 500ms;
        while (!over && std::chrono::steady_clock::now() < next)
            ends(100ms);
    } while (!over);
}

// Something that is told of events until it is released.
class Told {
protected:
    void event() {
        if (mReleased) abort();
        ++counts.events;
    }

public:
    void release() { mReleased = true; }

private:
    std::atomic<bool> mReleased{false};
};

class Manager final : public zrmirvo::ZRMirvoManagerCallback, public Told {
public:
    void onError() override {
        event();
        if (lost.exchange(true)) abort();
    }
    void onAttach(unsigned int) override { event(); }
    void onDetach(unsigned int) override { event(); }
    std::atomic<bool> lost{false};
};

class Phone final : public zrmirvo::ZRMirvoCallback, public Told {
public:
    explicit Phone(zrmirvo::ZRMirvo& phone) : mPhone(phone) {}
    void onRunningStateChange(int) override {
        event();
        count(mPhone.sendVideoFocus(1, true) == 0);
    }
    void onControlUnavailable() override { event(); }
    void onDeviceRequestData(unsigned char*, int) override { event(); }
    void onDeviceRequest(int, int) override { event(); }
    void onScreenOrientationChange(int) override { event(); }
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate*) override { event(); }
    void onHidReportDescriptor(unsigned char*, unsigned int) override { event(); }
    void onHidEvent(unsigned char*, unsigned int) override { event(); }
    void onDeviceResponse() override { event(); }

private:
    zrmirvo::ZRMirvo& mPhone;
};

constexpr unsigned int kValues[] = {1, 2, 3};
std::vector<char> gLarge(200'000, 'x');

// What a phone is asked, the same over facade and proxies.
template <typename Instance, typename Touch>
void ask(Instance& phone, unsigned int which, Touch touch) {
    switch (which % 8) {
        case 0:
            return count(phone.setFeature(1, gLarge.data(), 200'000) == 0);
        case 1:
            return count(phone.sendTimeDateInquiry() == 0);
        case 2:
            return count(phone.sendKeyEvent(4, true) == 0);
        default:
            return count(touch() == 0);
    }
}

void facade(std::mt19937& random) {
    using zrmirvo::ZRMirvoManager;
    ZRMirvoManager* const manager = ZRMirvoManager::GetInstance("3.6");
    if (manager == nullptr) abort();
    Manager told;
    if (!manager->RegisterCallback(&told)) abort();
    const auto phones = [&](std::mt19937 own) {
        while (!over && !told.lost && own() % 8 != 0) {
            zrmirvo::ZRMirvo* const phone = manager->GetMirvoInstance(1 + own() % 4);
            count(phone != nullptr);
            if (phone == nullptr) continue;
            Phone callback(*phone);
            phone->RegisterCallback(&callback);
            for (unsigned int i = own() % 64; i > 0 && !over && !told.lost; --i) {
                ask(*phone, own(),
                    [&] { return phone->sendTouchEvent(1, 3, kValues, kValues, kValues, 2, 0); });
                ends(5ms);
            }
            if (own() % 2 == 0) phone->UnregisterCallback(&callback);
            manager->ReleaseMirvoInstance(phone);
            callback.release();
        }
    };
    const int started = manager->startup();
    count(started == 0);
    if (started == 0) {
        std::thread other(phones, std::mt19937(random()));
        phones(std::mt19937(random()));
        other.join();
    }
    ZRMirvoManager::ReleaseInstance(manager);
    told.release();
}

class ManagerNotifier final : public accessory::MirvoManagerNotifier, public Told {
public:
    void error(int) override {
        event();
        lost = true;
    }
    void attach(unsigned int) override { event(); }
    void detach(unsigned int) override { event(); }
    std::atomic<bool> lost{false};
};

class PhoneNotifier final : public accessory::MirvoNotifier, public Told {
public:
    void runningStateChange(int) override { event(); }
    void controlUnavailable() override { event(); }
    void screenOrientationChange(int) override { event(); }
    void deviceRequest(MVDeviceRequest&) override { event(); }
    void deviceResponse(MVDeviceResponse&) override { event(); }
    void hidReportDescriptor(unsigned char*, unsigned int) override { event(); }
    void hidEvent(unsigned char*, unsigned int) override { event(); }
    void errorEvent(int) override { event(); }
};

void proxies(std::mt19937& random) {
    const sp<accessory::MirvoManager> manager = new accessory::MirvoManager;
    const sp<ManagerNotifier> told = new ManagerNotifier;
    count(manager->setNotifier(told) == 0);
    count(manager->startup() == 0);
    while (!over && !told->lost && random() % 8 != 0) {
        const sp<accessory::Mirvo> phone = manager->getMirvo(1 + random() % 4);
        count(phone != nullptr);
        if (phone == nullptr) continue;
        count(phone->setNotifier(new PhoneNotifier) == 0);
        for (unsigned int i = random() % 64; i > 0 && !over && !told->lost; --i) {
            ask(*phone, random(), [&] {
                MVTouchEvent touch(1, 3, MVTouchEvent::kMove, 0, kValues, kValues, kValues);
                return phone->sendTouchEvent(&touch);
            });
            if (random() % 32 == 0) count(phone->setNotifier(new PhoneNotifier) == 0);
            ends(5ms);
        }
    }
}

void session(std::mt19937& random) {
    zrmirvo::Session::Options options;
    options.longestPause = 200ms;
    zrmirvo::Session session("3.6", options);
    std::vector<zrmirvo::Phone> phones;
    session.onService([](bool) { ++counts.events; });
    session.onPhone([&](const zrmirvo::Phone& phone) {
        phones.push_back(phone);
        phone.onHidEvent([](zrmirvo::ByteSpan) { ++counts.events; });
        phone.onRunningState([phone](int) {
            ++counts.events;
            phone.videoFocus(1, true).then(
                [](const zrmirvo::Status& status) { count(bool(status)); });
        });
        phone.onGone([&phones, phone] {
            ++counts.events;
            for (auto it = phones.begin(); it != phones.end(); ++it)
                if (*it == phone) return void(phones.erase(it));
            abort();
        });
    });
    for (unsigned int round = random() % 4096; round > 0 && !over; --round) {
        if (!phones.empty()) {
            const zrmirvo::Phone& phone = phones[random() % phones.size()];
            const auto asked = random() % 4 == 0
                                   ? phone.key(zrmirvo::Key::Back, zrmirvo::Press::Down)
                                   : phone.touch(zrmirvo::TouchAction::Move, {{0, 1, 2}});
            asked.then([](const zrmirvo::Status& status) { count(bool(status)); });
        }
        pollfd entries[]{{session.fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
        poll(entries, 2, 10);
        session.dispatch();
        ends(5ms);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string_view level = argv[1];
    std::mt19937 random(static_cast<unsigned int>(std::atoi(argv[2])));
    android::ProcessState::self()->startThreadPool();
    std::thread reporting(report);
    const auto live = level == "session" ? session : level == "facade" ? facade : proxies;
    while (!over) {
        live(random);
        ++counts.lives;
        // While there is no service, a life is over at once.
        ends(20ms);
    }
    reporting.join();
}

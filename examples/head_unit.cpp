// A small head-unit application on the facade and an event queue. It shows the whole life of a
// projected phone, from the first contact with the projection service to the loss of the service
// and its return. It prints a line for each call, with its status, and for each callback. It ends
// with 0 when everything went well, otherwise with 1.

#include <poll.h>
#include <zrmirvo/EventQueue.h>
#include <zrmirvo/Version.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

using std::chrono::milliseconds;
using std::chrono::seconds;
using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;

namespace {

// The application waits no longer than this for anything that may never happen.
constexpr seconds kPatience(10);

void say(const std::string& line) {
    std::cout << line << std::endl;
}

bool report(const std::string& call, int status) {
    say(call + " = " + std::to_string(status));
    return status == 0;
}

std::string hex(const void* data, size_t length) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0');
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < length; ++i)
        text << std::setw(2) << static_cast<int>(bytes[i]);
    return text.str();
}

// The application's loop. It runs the callbacks, which only put their events here. The phases below
// do the work.
class Inbox {
public:
    void put(const std::string& event, unsigned int value = 0) { mEvents[event].push_back(value); }

    // Runs callbacks until an event has come, and takes that out. Nothing when it did not come in
    // time.
    std::optional<unsigned int> take(const std::string& event) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        std::deque<unsigned int>& values = mEvents[event];
        while (values.empty()) {
            const auto left =
                std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
            pollfd entry{mQueue.fd(), POLLIN, 0};
            if (left.count() <= 0 || poll(&entry, 1, static_cast<int>(left.count())) == 0) {
                say("gave up waiting for " + event);
                return std::nullopt;
            }
            mQueue.dispatch();
        }
        const unsigned int value = values.front();
        values.pop_front();
        return value;
    }

    zrmirvo::EventQueue& queue() { return mQueue; }

private:
    zrmirvo::EventQueue mQueue;
    std::map<std::string, std::deque<unsigned int>> mEvents;
};

// Receives the events of the service as a whole.
class ServiceEvents final : public zrmirvo::ZRMirvoManagerCallback {
public:
    explicit ServiceEvents(Inbox& inbox) : mInbox(inbox) {}

    void onError() override {
        say("onError");
        mInbox.put("onError");
    }
    void onAttach(unsigned int accessoryId) override {
        say("onAttach accessoryId=" + std::to_string(accessoryId));
        mInbox.put("onAttach", accessoryId);
    }
    void onDetach(unsigned int accessoryId) override {
        say("onDetach accessoryId=" + std::to_string(accessoryId));
        mInbox.put("onDetach", accessoryId);
    }

private:
    Inbox& mInbox;
};

// Receives the events of one phone.
class PhoneEvents final : public zrmirvo::ZRMirvoCallback {
public:
    explicit PhoneEvents(Inbox& inbox) : mInbox(inbox) {}

    void onRunningStateChange(int state) override {
        say("onRunningStateChange state=" + std::to_string(state));
    }
    void onControlUnavailable() override { say("onControlUnavailable"); }
    void onDeviceRequestData(unsigned char* data, int dataLength) override {
        say("onDeviceRequestData data=" + hex(data, static_cast<size_t>(dataLength)));
    }
    void onDeviceRequest(int param1, int param2) override {
        say("onDeviceRequest param1=" + std::to_string(param1) +
            " param2=" + std::to_string(param2));
    }
    void onScreenOrientationChange(int orientation) override {
        say("onScreenOrientationChange orientation=" + std::to_string(orientation));
    }
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate* time) override {
        std::ostringstream text;
        text << "onTimeDateResponse date=" << time->date1 << '/' << time->date2 << '/'
             << time->date3 << " time=" << time->hour << ':' << time->minute << ':' << time->second
             << '.' << time->fraction << " week=" << time->week << " dayOfWeek=" << time->dayOfWeek;
        say(text.str());
        mInbox.put("onTimeDateResponse");
    }
    void onHidReportDescriptor(unsigned char* data, unsigned int length) override {
        say("onHidReportDescriptor data=" + hex(data, length));
    }
    void onHidEvent(unsigned char* data, unsigned int length) override {
        say("onHidEvent data=" + hex(data, length));
        mInbox.put("onHidEvent");
    }
    void onDeviceResponse() override { say("onDeviceResponse"); }

private:
    Inbox& mInbox;
};

// Cooked events and descriptors come in an array that the application owns and deletes.
bool reportBytes(const std::string& call, int status, char* data, int length) {
    const bool good = report(call, status);
    if (data != nullptr) say("  bytes=" + hex(data, static_cast<size_t>(length)));
    delete[] data;
    return good;
}

// Remembers whether every step has succeeded. The steps after a failed one are made nevertheless.
class Outcome {
public:
    void operator+=(bool good) { mGood = mGood && good; }
    bool good() const { return mGood; }

private:
    bool mGood = true;
};

void printVersion() {
    const zrmirvo::ZRMirvoVersion version = ZRMirvoManager::getVersion();
    std::ostringstream text;
    text << "getVersion() = library " << version.clientMajor << '.' << version.clientMinor << '.'
         << version.clientPatch << ", service " << version.serverMajor << '.' << version.serverMinor
         << '.' << version.serverPatch;
    say(text.str());
}

// Sends the settings, starts the service and asks for phones. Stops at the first call that fails,
// and is false then.
bool introduce(ZRMirvoManager* manager) {
    const bool started =
        report("setBluetoothConfig", manager->setBluetoothConfig("Head unit", 1)) &&
        report("setConfigFile", manager->setConfigFile("/etc/head_unit/projection.conf")) &&
        report("startup", manager->startup());
    if (!started) return false;
    manager->connect("usb");
    say("connect");

    char* descriptor = nullptr;
    int length = 0;
    const int status = manager->getHidDescriptor(&descriptor, &length);
    if (!reportBytes("getHidDescriptor", status, descriptor, length)) return false;

    unsigned int ids[10] = {};
    unsigned int count = 0;
    if (!report("getIds", manager->getIds(ids, &count))) return false;
    say("  count=" + std::to_string(count));
    return true;
}

// Android's codes of the back key and of what a finger does.
constexpr unsigned int kBack = 4;
constexpr int kDown = 0;
constexpr int kUp = 1;
constexpr int kMove = 2;

bool sendInput(ZRMirvo* phone) {
    Outcome outcome;
    outcome += report("sendKeyEvent back down", phone->sendKeyEvent(kBack, true));
    outcome += report("sendKeyEvent back up", phone->sendKeyEvent(kBack, false));

    // One finger drags from left to right. It has a number, x and y.
    const unsigned int finger[] = {0};
    unsigned int x[] = {100};
    const unsigned int y[] = {240};
    outcome +=
        report("sendTouchEvent down", phone->sendTouchEvent(1000, 1, finger, x, y, kDown, 0));
    x[0] = 300;
    outcome +=
        report("sendTouchEvent move", phone->sendTouchEvent(1016, 1, finger, x, y, kMove, 0));
    outcome += report("sendTouchEvent up", phone->sendTouchEvent(1032, 1, finger, x, y, kUp, 0));
    outcome += report("sendCalibrateEvent", phone->sendCalibrateEvent());

    // The same events come back as the bytes that another transport carries.
    char* bytes = nullptr;
    int length = 0;
    int status = phone->cookKeyEvent(kBack, true, &bytes, &length);
    outcome += reportBytes("cookKeyEvent", status, bytes, length);
    bytes = nullptr;
    status = phone->cookTouchEvent(1048, 1, finger, x, y, kDown, 0, &bytes, &length);
    outcome += reportBytes("cookTouchEvent", status, bytes, length);
    bytes = nullptr;
    status = phone->cookCalibrateEvent(&bytes, &length);
    outcome += reportBytes("cookCalibrateEvent", status, bytes, length);
    return outcome.good();
}

// Uses a phone from its attachment to its detachment.
bool projectPhone(ZRMirvoManager* manager, Inbox& inbox) {
    const auto accessoryId = inbox.take("onAttach");
    if (!accessoryId) return false;
    ZRMirvo* phone = manager->GetMirvoInstance(*accessoryId);
    say(std::string("GetMirvoInstance = ") + (phone == nullptr ? "null" : "an instance"));
    if (phone == nullptr) return false;
    PhoneEvents events(inbox);
    zrmirvo::QueuedCallback queued(inbox.queue(), events);
    phone->RegisterCallback(&queued);

    Outcome outcome;
    outcome +=
        report("sendDisplayConfiguration", phone->sendDisplayConfiguration(1280, 720, 160, 60, 0));
    outcome += report("sendForceLandscape", phone->sendForceLandscape(true));
    unsigned char nightMode[] = {1};
    outcome += report("setFeature", phone->setFeature(2, nightMode, sizeof(nightMode)));
    outcome += report("sendOnReadyForPairing", phone->sendOnReadyForPairing(true));
    outcome += report("sendVideoFocus", phone->sendVideoFocus(1, true));
    outcome += inbox.take("onHidEvent").has_value();
    outcome += sendInput(phone);
    outcome += report("sendTimeDateInquiry", phone->sendTimeDateInquiry());
    outcome += inbox.take("onTimeDateResponse").has_value();
    outcome += inbox.take("onDetach").has_value();

    // From here on nothing calls `queued`, so it may be destroyed, and `events` with it.
    manager->ReleaseMirvoInstance(phone);
    say("ReleaseMirvoInstance");
    return outcome.good();
}

// A manager, and the queue that brings its events to the application's loop.
class Service {
public:
    Service(ZRMirvoManager* manager, Inbox& inbox, ServiceEvents& events)
        : mManager(manager), mQueued(inbox.queue(), events) {
        mManager->RegisterCallback(&mQueued);
    }
    ~Service() {
        ZRMirvoManager::ReleaseInstance(mManager);
        say("ReleaseInstance");
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    ZRMirvoManager* manager() const { return mManager; }

private:
    ZRMirvoManager* const mManager;
    zrmirvo::QueuedManagerCallback mQueued;
};

// A manager that has lost its service does not find another, so this makes a new manager until a
// service answers. A crashed service takes some time to be restarted, so the pauses grow. Null when
// no service comes.
std::unique_ptr<Service> obtain(Inbox& inbox, ServiceEvents& events, int attempts) {
    milliseconds pause(100);
    for (int attempt = 1;; ++attempt) {
        ZRMirvoManager* manager = ZRMirvoManager::GetInstance(ZRMIRVO_VERSION_TEXT);
        say(std::string("GetInstance = ") + (manager == nullptr ? "null" : "a manager"));
        if (manager != nullptr) {
            auto service = std::make_unique<Service>(manager, inbox, events);
            // There is a manager even without a service, but every call on it fails.
            if (introduce(manager)) return service;
        }
        if (attempt == attempts) return nullptr;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, milliseconds(3000));
    }
}

}  // namespace

int main() {
    Inbox inbox;
    ServiceEvents events(inbox);
    printVersion();

    std::unique_ptr<Service> service = obtain(inbox, events, 1);
    if (service == nullptr) {
        say("no projection service");
        return 1;
    }
    Outcome outcome;
    outcome += projectPhone(service->manager(), inbox);
    service->manager()->disconnect("usb");
    say("disconnect");

    // When a service ends, every callback is told.
    if (inbox.take("onError")) {
        service = nullptr;
        service = obtain(inbox, events, 8);
        outcome += service != nullptr && projectPhone(service->manager(), inbox);
    }
    if (service != nullptr) outcome += report("shutdown", service->manager()->shutdown());
    service = nullptr;
    say(outcome.good() ? "all went well" : "something failed");
    return outcome.good() ? 0 : 1;
}

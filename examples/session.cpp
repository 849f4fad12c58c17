// A small head unit on a session: the whole life of a projected phone, a crash of its service and
// the recovery. It prints each status and each event, and ends with 0 when everything went well.

#include <zrmirvo/Session.h>
#include <zrmirvo/Version.h>

#include <iomanip>
#include <iostream>

using namespace zrmirvo;
static bool allWell = true;

// Prints how a request has ended, and the bytes that it got.
static auto report(const char* request) {
    return [request](const auto& result) {
        std::cout << request << ": " << result.text() << std::endl;
        allWell = allWell && result;
    };
}

static void print(const char* event, ByteSpan bytes) {
    std::cout << event << std::hex << std::setfill('0');
    for (const std::byte byte : bytes)
        std::cout << ' ' << std::setw(2) << static_cast<int>(byte);
    std::cout << std::dec << std::endl;
}

int main() {
    int lives = 0;
    Session session(ZRMIRVO_VERSION_TEXT);
    session.bluetoothConfig("Head unit", 1).then(report("bluetoothConfig"));
    session.configFile("/etc/head_unit/projection.conf").then(report("configFile"));
    session.connect("usb").then(report("connect"));
    session.onService([](bool there) { std::cout << "service: " << there << std::endl; });
    session.onPhone([&](const Phone& phone) {
        std::cout << "phone " << phone.id() << std::endl;
        phone.onRunningState([](int state) { std::cout << "state " << state << std::endl; });
        phone.onTimeDate([](const TimeDate& now) { std::cout << now.hour << " h" << std::endl; });
        phone.displayConfiguration(1280, 720, 160, 60, 0).then(report("displayConfiguration"));
        phone.videoFocus(1, true).then(report("videoFocus"));
        phone.onHidEvent([phone](ByteSpan event) {
            print("HID event", event);
            phone.key(Key::Back, Press::Down).then(report("key down"));
            phone.key(Key::Back, Press::Up).then(report("key up"));
            phone.touch(TouchAction::Down, {{0, 100, 240}}, 1000).then(report("touch down"));
            phone.touch(TouchAction::Move, {{0, 300, 240}}, 1016).then(report("touch move"));
            phone.touch(TouchAction::Up, {{0, 300, 240}}, 1032).then(report("touch up"));
            phone.cookKey(Key::Back, Press::Down).then(report("cookKey"));
            phone.timeDateInquiry().then(report("timeDateInquiry"));
        });
        phone.onGone([&] {
            std::cout << "the phone is gone" << std::endl;
            if (++lives == 1) return session.disconnect("usb").then(report("disconnect"));
            session.shutdown().then([&](Status) { session.stop(); });
        });
    });
    session.run();
    std::cout << (allWell ? "all went well" : "something failed") << std::endl;
    return allWell ? 0 : 1;
}

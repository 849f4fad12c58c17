#include <thread>
#include <utility>

#include "accessory/Mirvo.h"
#include "accessory/MirvoManager.h"
#include "tests/explore/Framework.h"
#include "tests/explore/Scenarios.h"

namespace explorer {

using accessory::Mirvo;
using accessory::MirvoManager;
using android::sp;

namespace {

constexpr unsigned int kId = 7;

Framework& framework() {
    return Framework::self();
}

class ManagerNotifier final : public accessory::MirvoManagerNotifier {
public:
    ~ManagerNotifier() override { require(mRunning == 0, "a notifier goes while it runs"); }
    void error(int) override { run(); }
    void attach(unsigned int) override { run(); }
    void detach(unsigned int) override { run(); }

private:
    void run() {
        ++mRunning;
        point("is in a notifier");
        --mRunning;
    }
    int mRunning = 0;
};

class DeviceNotifier final : public accessory::MirvoNotifier {
public:
    ~DeviceNotifier() override { require(mRunning == 0, "a notifier goes while it runs"); }
    void runningStateChange(int) override {
        ++mRunning;
        point("is in a notifier");
        --mRunning;
    }
    void controlUnavailable() override {}
    void screenOrientationChange(int) override {}
    void deviceRequest(MVDeviceRequest&) override {}
    void deviceResponse(MVDeviceResponse&) override {}
    void hidReportDescriptor(unsigned char*, unsigned int) override {}
    void hidEvent(unsigned char*, unsigned int) override {}
    void errorEvent(int) override {}

private:
    int mRunning = 0;
};

void notifierReplacedDuringADelivery() {
    sp<MirvoManager> manager = new MirvoManager;
    manager->setNotifier(new ManagerNotifier);
    std::thread attach([] { framework().attach(0, kId); });
    std::thread lost([] { framework().lost(0); });
    manager->setNotifier(new ManagerNotifier);
    manager->startup();
    manager.clear();
    attach.join();
    lost.join();
    framework().available = true;
    require(framework().liveClients == 0, "a client is left behind");
}

void deviceGoesDuringADelivery() {
    sp<MirvoManager> manager = new MirvoManager;
    sp<Mirvo> device = manager->getMirvo(kId);
    device->setNotifier(new DeviceNotifier);
    std::thread first([] { framework().state(1, kId, 1); });
    std::thread second([] { framework().state(1, kId, 2); });
    device->setNotifier(new DeviceNotifier);
    device.clear();
    manager.clear();
    first.join();
    second.join();
    require(framework().liveClients == 0, "a client is left behind");
}

}  // namespace

std::vector<Scenario> proxyScenarios() {
    return {
        {"notifier-replaced-during-a-delivery", notifierReplacedDuringADelivery, {}},
        {"device-goes-during-a-delivery", deviceGoesDuringADelivery, {}},
    };
}

}  // namespace explorer

// Uses the client proxies without the facade and writes to the log, as a program outside of
// this repository would.

#include <accessory/MirvoManager.h>
#include <android/log.h>
#include <protocol/ProcessState.h>
#include <zrmirvo/Version.h>

#include <cstdio>

namespace {

class Notifier : public accessory::MirvoNotifier {
    void runningStateChange(int) override {}
    void controlUnavailable() override {}
    void screenOrientationChange(int) override {}
    void deviceRequest(MVDeviceRequest&) override {}
    void deviceResponse(MVDeviceResponse&) override {}
    void hidReportDescriptor(unsigned char*, unsigned int) override {}
    void hidEvent(unsigned char*, unsigned int) override {}
    void errorEvent(int) override {}
};

}  // namespace

int main() {
    __android_log_print(ANDROID_LOG_DEBUG, "outside", "built with %s", ZRMIRVO_VERSION_TEXT);
    android::ProcessState::self()->startThreadPool();
    const android::sp<accessory::MirvoManager> manager = new accessory::MirvoManager;
    const int started = manager->startup();
    const android::sp<accessory::Mirvo> phone = manager->getMirvo(7);
    if (phone == nullptr || phone->setNotifier(new Notifier) != 0) return 1;
    std::printf("startup %d, key %d\n", started, phone->sendKeyEvent(4, true));
}

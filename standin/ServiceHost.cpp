#include "standin/ServiceHost.h"

#include "standin/Host.h"

namespace accessory {

ServiceHost::ServiceHost(const sp<ServiceInfo>& info, Handler handler)
    : ServiceHost(info, std::move(handler), Options()) {}

ServiceHost::ServiceHost(const sp<ServiceInfo>& info, Handler handler, Options options)
    : mHost(std::make_unique<standin::Host>(info, std::move(handler), std::move(options))) {}

ServiceHost::~ServiceHost() = default;

bool ServiceHost::start() {
    return mHost->start();
}

void ServiceHost::stop() {
    mHost->stop();
}

size_t ServiceHost::notify(const sp<ServiceNotify>& notify) {
    return mHost->notify(notify, standin::kEveryProcess);
}

size_t ServiceHost::notify(const sp<ServiceNotify>& notify, pid_t process) {
    return mHost->notify(notify, process);
}

bool ServiceHost::waitForRoom(int milliseconds) {
    return waitForRoom(milliseconds, nullptr);
}

bool ServiceHost::waitForRoom(int milliseconds, const std::function<bool()>& over) {
    return mHost->sender().waitForRoom(milliseconds, over);
}

size_t ServiceHost::waitUntilTaken(int milliseconds) {
    return mHost->sender().waitUntilTaken(milliseconds);
}

bool ServiceHost::disconnect(pid_t process, const std::string& reason) {
    return mHost->disconnect(process, reason);
}

std::vector<ServiceHost::Connection> ServiceHost::connections() const {
    return mHost->connections();
}

size_t ServiceHost::clients() const {
    return mHost->sender().clients();
}

size_t ServiceHost::listened() const {
    return mHost->sender().listened();
}

}  // namespace accessory

#include "standin/ServiceHost.h"

#include "standin/HostImpl.h"

namespace accessory {

ServiceHost::ServiceHost(const sp<ServiceInfo>& info, Handler handler)
    : ServiceHost(info, std::move(handler), Options()) {}

ServiceHost::ServiceHost(const sp<ServiceInfo>& info, Handler handler, Options options)
    : mImpl(std::make_unique<Impl>(info, std::move(handler), std::move(options))) {}

ServiceHost::~ServiceHost() = default;

bool ServiceHost::start() {
    return mImpl->start();
}

void ServiceHost::stop() {
    mImpl->stop();
}

bool ServiceHost::adopt(int fd) {
    return mImpl->adopt(standin::UniqueFd(fd));
}

void ServiceHost::notify(const sp<ServiceNotify>& notify) {
    mImpl->notify(notify);
}

size_t ServiceHost::clients() const {
    return mImpl->clients();
}

}  // namespace accessory

#include "standin/Client.h"
#include "standin/Directory.h"
#include "standin/Export.h"
#include "standin/Fork.h"
#include "standin/Log.h"
#include "standin/ServiceAddress.h"

namespace accessory {

SERVICE_FRAMEWORK_EXPORT ServiceDiscoverer* ServiceDiscoverer::self() {
    static ServiceDiscoverer discoverer;
    return &discoverer;
}

SERVICE_FRAMEWORK_EXPORT sp<ServiceClient> ServiceDiscoverer::bindTo(sp<ServiceInfo>& info) {
    using namespace standin;
    if (info == nullptr) {
        logError("no service to bind to");
        return nullptr;
    }
    if (failsInForkedChild("a binding")) return nullptr;
    const std::string path = socketPath(serviceDirectory(), info->servicename());
    if (path.empty() || !checkDirectory(path.substr(0, path.rfind('/')))) return nullptr;
    auto address = std::make_unique<ServiceAddress>(path);
    UniqueFd first = address->bind();
    return first ? Client::create(info, std::move(address), std::move(first)) : nullptr;
}

}  // namespace accessory

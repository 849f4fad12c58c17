#include "standin/Client.h"
#include "standin/ClientFactory.h"
#include "standin/Directory.h"
#include "standin/Export.h"
#include "standin/Fork.h"
#include "standin/Log.h"

namespace accessory {

namespace standin {

sp<ServiceClient> makeClient(const sp<ServiceInfo>& info, std::unique_ptr<Connector> connector,
                             UniqueFd first) {
    const sp<ServiceProtocol> protocol = info->protocol();
    if (protocol == nullptr || protocol->replyFactory() == nullptr ||
        protocol->notifyFactory() == nullptr) {
        logError("a service without a complete protocol: %s", info->servicename());
        return nullptr;
    }
    if (first && !checkPeer(first.get())) return nullptr;
    return new Client(protocol, std::move(connector), std::move(first), requestTimeout());
}

}  // namespace standin

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
    return first ? makeClient(info, std::move(address), std::move(first)) : nullptr;
}

}  // namespace accessory

#include "mirvoctl/Connection.h"

#include <zrmirvo/Version.h>

#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "protocol/ServiceFramework.h"

namespace mirvoctl {
namespace {

using namespace accessory;
using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;
using zrmirvo::ZRMirvoVersion;

// The library cannot tell a missing service from one that does not give its version.
sp<ServiceClient> bindToService() {
    sp<ServiceInfo> info = new MirvoServiceInfo;
    sp<ServiceClient> client = ServiceDiscoverer::self()->bindTo(info);
    if (client == nullptr) {
        throw Failure(kNoService,
                      std::string("there is no service \"") + info->servicename() +
                          "\": start it, or mirvo-emulator in its place, as the same user and with"
                          " the same SERVICE_FRAMEWORK_DIR");
    }
    return client;
}

std::string numbers(int major, int minor, int patch) {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

Failure gateRefused() {
    const ZRMirvoVersion version = ZRMirvoManager::getVersion();
    const std::string library =
        numbers(version.clientMajor, version.clientMinor, version.clientPatch);
    if (version.serverMajor < 0) {
        return {kNoService, "the service gives no version that the library, which is " + library +
                                ", can read: check what \"mirvoctl version\" shows"};
    }
    return {kNoService, "the service has version " +
                            numbers(version.serverMajor, version.serverMinor, version.serverPatch) +
                            " and the library " + library +
                            ": install the library that has the service's first two numbers"};
}

}  // namespace

Connection::~Connection() {
    release();
}

void Connection::release() {
    if (mManager != nullptr) ZRMirvoManager::ReleaseInstance(mManager);
    mManager = nullptr;
    mDevices.clear();
}

ZRMirvoManager& Connection::manager() {
    if (mLost.exchange(false)) release();
    if (mManager != nullptr) return *mManager;
    bindToService();
    mManager = ZRMirvoManager::GetInstance(ZRMIRVO_VERSION_TEXT);
    if (mManager == nullptr) throw gateRefused();
    mManager->RegisterCallback(&mEvents);
    return *mManager;
}

ZRMirvo& Connection::device(uint32_t accessoryId) {
    ZRMirvoManager& current = manager();
    ZRMirvo*& found = mDevices[accessoryId];
    if (found == nullptr) found = current.GetMirvoInstance(accessoryId);
    if (found == nullptr) {
        throw Failure(kRefused, "the service gives no accessory " + std::to_string(accessoryId) +
                                    ": \"mirvoctl ids\" lists those that it has, if it answers");
    }
    return *found;
}

std::string Connection::serviceVersion() {
    const sp<ServiceClient> client = bindToService();
    sp<ServiceItem> item = new MVSItemManagerVersion;
    const sp<ServiceReply> reply = client->request(item);
    if (reply == nullptr || reply->type() != MVSReplyVersion::kType) {
        throw Failure(kRefused, "the service does not answer as it should: restart it if it hangs");
    }
    return static_cast<MVSReplyVersion&>(*reply).version.string();
}

}  // namespace mirvoctl

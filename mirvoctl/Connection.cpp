#include "mirvoctl/Connection.h"

#include <zrmirvo/Version.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>

#include "mirvoctl/LibraryLog.h"
#include "mirvoctl/Output.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "protocol/ServiceFramework.h"
#include "tool/ServicePlace.h"

namespace mirvoctl {
namespace {

using namespace accessory;
using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;
using zrmirvo::ZRMirvoVersion;
using Clock = std::chrono::steady_clock;

// How long after an attempt to find the service the next one follows. The framework tells nobody
// that a service has appeared.
constexpr std::chrono::milliseconds kPause(20);

// How long a person who asks for completion is kept waiting.
constexpr std::chrono::milliseconds kMoment(300);

// Null when there is no service. The library cannot tell that from one without a version.
sp<ServiceClient> bindToService() {
    sp<ServiceInfo> info = new MirvoServiceInfo;
    return ServiceDiscoverer::self()->bindTo(info);
}

// Waits for a service until `giveUp`. The attempts that fail on the way leave no line.
sp<ServiceClient> bindUntil(const GiveUp& giveUp) {
    LibraryLog::mute(true);
    sp<ServiceClient> client = bindToService();
    while (client == nullptr && !giveUp()) {
        std::this_thread::sleep_for(kPause);
        client = bindToService();
    }
    LibraryLog::mute(false);
    return client;
}

// Binds as a command does that waits for so long.
sp<ServiceClient> bindFor(std::chrono::milliseconds wait) {
    if (wait > std::chrono::milliseconds::zero())
        bindUntil([until = Clock::now() + wait] { return Clock::now() >= until; });
    sp<ServiceClient> client = bindToService();
    if (client != nullptr) return client;
    const sp<ServiceInfo> info = new MirvoServiceInfo;
    throw Failure(kNoService, "there is no service \"" + std::string(info->servicename()) +
                                  "\" in " + tool::servicePlace() +
                                  ": start it, or mirvo-emulator in its place, as the same user and"
                                  " with the same folder");
}

std::string versionOf(const sp<ServiceClient>& client) {
    sp<ServiceItem> item = new MVSItemManagerVersion;
    const sp<ServiceReply> reply = client->request(item);
    if (reply == nullptr || reply->type() != MVSReplyVersion::kType) {
        throw Failure(kRefused, "the service does not answer as it should: restart it if it hangs");
    }
    return static_cast<MVSReplyVersion&>(*reply).version.c_str();
}

enum class Fit { kFits, kOther, kUnreadable };

// As the library decides whether it works with a service.
Fit fitOf(const std::string& serviceVersion) {
    int service[3];
    if (sscanf(serviceVersion.c_str(), "%9d.%9d.%9d", &service[0], &service[1], &service[2]) < 3) {
        return Fit::kUnreadable;
    }
    const bool fits = service[0] == ZRMIRVO_VERSION_MAJOR && service[1] == ZRMIRVO_VERSION_MINOR;
    return fits ? Fit::kFits : Fit::kOther;
}

}  // namespace

Connection::~Connection() {
    if (!busy()) release();
}

void Connection::useWhenReady(std::future<void> ready) {
    android::AutoMutex lock(mLock);
    mReady = ready.share();
}

std::shared_future<void> Connection::ready() const {
    android::AutoMutex lock(mLock);
    return mReady;
}

bool Connection::busy() const {
    const std::shared_future<void> ready = this->ready();
    return ready.valid() && ready.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

void Connection::release() {
    if (mManager != nullptr) ZRMirvoManager::ReleaseInstance(mManager);
    mManager = nullptr;
    mDevices.clear();
}

void Connection::obtain(const std::string& serviceVersion) {
    switch (fitOf(serviceVersion)) {
        case Fit::kUnreadable:
            throw Failure(kNoService, "the service gives no version that can be read, but \"" +
                                          serviceVersion + "\": check what it is");
        case Fit::kOther:
            throw Failure(kNoService,
                          "the service has version " + serviceVersion + " and the library " +
                              libraryVersion(serviceVersion) +
                              ": install the library that has the service's first two numbers");
        case Fit::kFits:
            break;
    }
    mManager = ZRMirvoManager::GetInstance(ZRMIRVO_VERSION_TEXT);
    if (mManager == nullptr) {
        throw Failure(kNoService, "the library does not accept the service: try again");
    }
    mManager->RegisterCallback(&mEvents);
}

ZRMirvoManager& Connection::manager() {
    const std::shared_future<void> ready = this->ready();
    if (ready.valid()) ready.wait();
    return current();
}

std::vector<uint32_t> Connection::idsIfQuick() {
    if (busy()) return {};
    const auto ids = std::make_shared<std::vector<uint32_t>>();
    std::packaged_task<void()> task([this, ids] {
        try {
            unsigned int listed[10] = {};
            unsigned int count = 0;
            current().getIds(listed, &count);
            ids->assign(listed, listed + count);
        } catch (const Failure&) {
            // Then there is nothing to offer.
        }
    });
    std::future<void> end = task.get_future();
    std::thread(std::move(task)).detach();
    const bool quick = end.wait_for(kMoment) == std::future_status::ready;
    useWhenReady(std::move(end));
    return quick ? *ids : std::vector<uint32_t>();
}

ZRMirvoManager& Connection::current() {
    if (mLost.exchange(false)) release();
    if (mManager == nullptr) obtain(versionOf(bindFor(mWait)));
    return *mManager;
}

ZRMirvoManager* Connection::managerWhenThere(const GiveUp& giveUp) {
    if (mLost.exchange(false)) release();
    while (mManager == nullptr) {
        const sp<ServiceClient> client = bindUntil(giveUp);
        if (client == nullptr) return nullptr;
        std::string version;
        try {
            version = versionOf(client);
        } catch (const Failure&) {
            // It may have gone again, or hang until somebody restarts it.
            if (giveUp()) return nullptr;
            continue;
        }
        obtain(version);
    }
    return mManager;
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

sp<ServiceClient> Connection::bind(std::chrono::milliseconds patience) const {
    return bindFor(std::max(patience, mWait));
}

std::string Connection::serviceVersion() {
    return versionOf(bindFor(mWait));
}

std::string Connection::libraryVersion(const std::string& serviceVersion) {
    if (fitOf(serviceVersion) != Fit::kFits) return ZRMIRVO_VERSION_TEXT;
    const ZRMirvoVersion version = ZRMirvoManager::getVersion();
    return std::to_string(version.clientMajor) + "." + std::to_string(version.clientMinor) + "." +
           std::to_string(version.clientPatch);
}

}  // namespace mirvoctl

#include <thread>

#include "doctor/Probe.h"
#include "doctor/Steps.h"
#include "protocol/ProcessState.h"

namespace doctor {
namespace {

using namespace accessory;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds kPatience(2);

// The number of references to a listener. Weak ones count, since a framework may hold only such a
// one.
int references(const sp<ServiceNotifyListener>& listener) {
    return listener->getWeakRefs()->getWeakCount();
}

// Whether the framework releases a listener. It may do this on another thread, and may keep a weak
// reference.
bool isLetGo(const sp<ServiceNotifyListener>& listener) {
    const auto deadline = steady_clock::now() + kPatience;
    while (listener->getStrongCount() > 1) {
        if (steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

Verdict listener(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return bad("ServiceDiscoverer::bindTo gives no client");
    android::ProcessState::self()->startThreadPool();
    sp<ServiceNotifyListener> own = new ProbeListener;
    const int before = references(own);
    calling("ServiceClient::setNotifyListener");
    probe.client->setNotifyListener(own);
    if (references(own) <= before) {
        return bad("ServiceClient::setNotifyListener does not keep the listener");
    }
    return good("ServiceClient::setNotifyListener keeps the listener");
}

Verdict notification(const Options& options) {
    Probe probe;
    if (!probe.bind()) return bad("ServiceDiscoverer::bindTo gives no client");
    android::ProcessState::self()->startThreadPool();
    const sp<ProbeListener> own = new ProbeListener;
    sp<ServiceNotifyListener> given = own;
    calling("ServiceClient::setNotifyListener");
    probe.client->setNotifyListener(given);
    const auto event = own->next(seconds(options.wait));
    if (probe.observed.itemCode != 0) {
        return bad(
            "ServiceProtocol: the framework asks itemFactory for a notification, not "
            "notifyFactory");
    }
    if (!event) {
        if (probe.observed.notifyCode == 0) {
            return notTried("none came within " + std::to_string(options.wait) +
                            " s: plug a phone in while the doctor runs with --wait 60");
        }
        return bad("the framework has made a notification with the code " +
                   std::to_string(probe.observed.notifyCode) + ", but not delivered it");
    }
    if (event->type != probe.observed.notifyCode && event->type != ServiceStatusNotify::kType) {
        return bad("a notification with the code " + std::to_string(event->type) +
                   " came, which the ServiceNotifyFactory has not made");
    }
    return good("a notification with the code " + std::to_string(event->type) + " came");
}

Verdict removal(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return bad("ServiceDiscoverer::bindTo gives no client");
    android::ProcessState::self()->startThreadPool();
    sp<ServiceNotifyListener> own = new ProbeListener;
    calling("ServiceClient::setNotifyListener");
    probe.client->setNotifyListener(own);
    calling("ServiceClient::removeNotifyListener");
    probe.client->removeNotifyListener(own);
    if (!isLetGo(own))
        return bad("ServiceClient::removeNotifyListener does not let go of the listener");
    // The library may do this, too, when it is released while the service is being lost.
    calling("ServiceClient::removeNotifyListener");
    probe.client->removeNotifyListener(own);
    probe.client.clear();
    return good(
        "ServiceClient::removeNotifyListener lets go of the listener, and the client can be "
        "released");
}

}  // namespace doctor

#include <zrmirvo/Version.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdlib>
#include <iostream>
#include <thread>

#include "doctor/Probe.h"
#include "doctor/Steps.h"
#include "protocol/ProcessState.h"

namespace doctor {
namespace {

using namespace accessory;
using std::chrono::seconds;
using std::chrono::steady_clock;

// A request ends after the framework's timeout, which the contract leaves to the framework.
constexpr seconds kRequestAtMost(15);
constexpr seconds kForCommand(20);
constexpr seconds kForPerson(120);

// Stops or starts the service by a command, or asks a person to do it. Returns how long to wait for
// it.
seconds change(const char* what, const std::string& command) {
    if (command.empty()) {
        std::cerr << "mirvo-doctor: " << what << " the service now\n";
        return kForPerson;
    }
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): it is the user's own command.
    if (std::system(command.c_str()) != 0) {
        conclude(
            notTried("the command to " + std::string(what) + " the service failed: " + command));
    }
    return kForCommand;
}

bool answers(Probe& probe) {
    return probe.request(MVServiceItem::MANAGER_VERSION, [](SerializationContent& content) {
        content.writeCString("");
    }) != nullptr;
}

}  // namespace

Verdict library(const Options& /*options*/) {
    using zrmirvo::ZRMirvoManager;
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance(ZRMIRVO_VERSION_TEXT);
    if (manager == nullptr) return bad("GetInstance gives null");
    unsigned int ids[10] = {};
    unsigned int count = 0;
    const int status = manager->getIds(ids, &count);
    const zrmirvo::ZRMirvoVersion version = ZRMirvoManager::getVersion();
    ZRMirvoManager::ReleaseInstance(manager);
    if (status != 0) return bad("getIds gives the status " + std::to_string(status));
    return good("the library sees a service " + std::to_string(version.serverMajor) + "." +
                std::to_string(version.serverMinor) + "." + std::to_string(version.serverPatch) +
                "; accessories attached: " + std::to_string(count));
}

Verdict lost(const Options& options) {
    if (!options.disturb) {
        return notTried("it stops the service: run the doctor with --disturb");
    }
    Probe probe;
    if (!probe.bind()) return bad("ServiceDiscoverer::bindTo gives no client");
    android::ProcessState::self()->startThreadPool();
    const sp<ProbeListener> own = new ProbeListener;
    sp<ServiceNotifyListener> given = own;
    calling("ServiceClient::setNotifyListener");
    probe.client->setNotifyListener(given);
    const auto deadline = steady_clock::now() + change("stop", options.stop);
    for (;;) {
        const auto left = std::chrono::duration_cast<seconds>(deadline - steady_clock::now());
        const auto event = own->next(left);
        if (!event) return bad("no notification of the framework's own came");
        if (event->type != ServiceStatusNotify::kType) continue;
        if (event->status != ServiceStatusNotify::kServiceLost) {
            return bad(
                "ServiceStatusNotify: the first field of the framework's own notification is " +
                std::to_string(event->status) + ", not 2");
        }
        break;
    }
    if (answers(probe)) return bad("a request is answered although the service is lost");
    probe.client->removeNotifyListener(given);
    probe.client.clear();
    return good("the loss was told with status 2, requests fail, and the client can be released");
}

Verdict late(const Options& options) {
    if (!options.disturb) {
        return notTried("it needs a service that is started anew: run the doctor with --disturb");
    }
    const auto before = steady_clock::now();
    Probe probe;
    if (probe.bind() && answers(probe)) {
        return notTried("the service runs: the step before has not stopped it");
    }
    if (steady_clock::now() - before > kRequestAtMost) {
        return bad("without a service, a binding or a request takes too long");
    }
    const auto deadline = steady_clock::now() + change("start", options.start);
    while (steady_clock::now() < deadline) {
        Probe anew;
        if (anew.bind() && answers(anew)) {
            return good("without the service there is no answer, and a new binding finds it later");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return bad("a new binding does not find the service that was started");
}

}  // namespace doctor

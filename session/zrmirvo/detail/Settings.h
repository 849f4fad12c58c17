#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../Status.h"
#include "Operation.h"
#include "SessionCore.h"

namespace zrmirvo::detail {

// What the application has set, and what is sent again at each start of the service. Used on the
// session's thread.
class Settings {
public:
    // A setting that waits for the start of the service ends with this.
    static constexpr const char* kKept = "the service is not started; it is kept for the start";

    explicit Settings(SessionCore& core) : mCore(core) {}

    void keep(const std::shared_ptr<Control>& setting) { mKept[setting->what()] = setting; }

    // Takes the settings that wait at the front of the queue, so that the start sends them.
    void absorb() {
        const std::lock_guard lock(mCore.mLock);
        while (!mCore.mRequests.empty()) {
            Control* setting = mCore.mRequests.front()->control();
            if (setting == nullptr || !setting->setting()) return;
            mAbsorbed.push_back(std::static_pointer_cast<Control>(mCore.dequeue()));
            keep(mAbsorbed.back());
        }
    }

    // Sends a kept setting. Settings of this kind that were absorbed end with its status.
    void send(Control::What what, ZRMirvoManager& manager) {
        const auto kept = mKept.find(what);
        if (kept == mKept.end() || !mCore.undisturbed()) return;
        const Status status = kept->second->call(manager);
        const auto rest =
            std::partition(mAbsorbed.begin(), mAbsorbed.end(),
                           [what](const auto& setting) { return setting->what() != what; });
        std::for_each(rest, mAbsorbed.end(), [&](const auto& setting) { setting->finish(status); });
        mAbsorbed.erase(rest, mAbsorbed.end());
    }

    // Ends the settings that the start has absorbed and not sent.
    void endAbsorbed() {
        for (const std::shared_ptr<Control>& setting : std::exchange(mAbsorbed, {}))
            setting->refuse(Status(Status::Code::Refused, kKept));
    }

    // Forgets what has been disconnected, so that it is not connected again. The empty text stands
    // for everything.
    void forget(const std::string& disconnected) {
        const auto kept = mKept.find(Control::What::Connect);
        if (kept == mKept.end()) return;
        if (disconnected.empty() || disconnected == kept->second->text()) mKept.erase(kept);
    }

private:
    SessionCore& mCore;
    std::map<Control::What, std::shared_ptr<Control>> mKept;
    std::vector<std::shared_ptr<Control>> mAbsorbed;
};

}  // namespace zrmirvo::detail

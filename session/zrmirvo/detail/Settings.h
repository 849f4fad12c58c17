#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
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

    // In the place of one that this replaces, if there is such.
    void keep(const std::shared_ptr<Control>& setting) {
        const auto replaced = std::find_if(mKept.begin(), mKept.end(), [&](const auto& kept) {
            return replaces(*setting, *kept);
        });
        if (replaced == mKept.end()) {
            mKept.push_back(setting);
        } else {
            *replaced = setting;
        }
    }

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

    // Sends what is kept of a kind. The settings that it replaced while they were absorbed end with
    // its status.
    void send(Control::What what, ZRMirvoManager& manager) {
        for (const std::shared_ptr<Control>& kept : mKept) {
            if (kept->what() != what || !mCore.undisturbed()) continue;
            const Status status = kept->call(manager);
            const auto rest =
                std::partition(mAbsorbed.begin(), mAbsorbed.end(),
                               [&](const auto& setting) { return !replaces(*kept, *setting); });
            std::for_each(rest, mAbsorbed.end(),
                          [&](const auto& setting) { setting->finish(status); });
            mAbsorbed.erase(rest, mAbsorbed.end());
        }
    }

    // Ends the settings that the start has absorbed and not sent.
    void endAbsorbed() {
        for (const std::shared_ptr<Control>& setting : std::exchange(mAbsorbed, {}))
            setting->refuse(Status(Status::Code::Refused, kKept));
    }

    // Forgets what has been disconnected, so that it is not connected again. The empty text stands
    // for everything.
    void forget(const std::string& disconnected) {
        const auto isMeant = [&](const auto& kept) {
            return kept->what() == Control::What::Connect &&
                   (disconnected.empty() || disconnected == kept->text());
        };
        mKept.erase(std::remove_if(mKept.begin(), mKept.end(), isMeant), mKept.end());
    }

private:
    // There is one setting of each kind, but several connections.
    static bool replaces(const Control& setting, const Control& earlier) {
        return setting.what() == earlier.what() &&
               (setting.what() != Control::What::Connect || setting.text() == earlier.text());
    }

    SessionCore& mCore;
    std::vector<std::shared_ptr<Control>> mKept;  // in the order in which they are sent
    std::vector<std::shared_ptr<Control>> mAbsorbed;
};

}  // namespace zrmirvo::detail

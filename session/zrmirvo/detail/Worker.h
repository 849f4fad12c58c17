#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../Status.h"
#include "../Types.h"
#include "LibraryEvents.h"
#include "Operation.h"
#include "PhoneState.h"
#include "SessionCore.h"

namespace zrmirvo::detail {

// What the session's own thread does. It makes every call of the library, and is the only one that
// does, apart from the library's threads that deliver events:
//
//            ┌─────────────────────────────────────────────────────────────┐
//            │ GetInstance, getIds: no answer; next attempt after a pause   │
//            ▼                                                              │
//   begin ► SEEKING ──────────────────────────────────────────────────────► ┘
//            ▲   │ └─ the version does not fit ─► UNFIT, for good
//            │   │ getIds answers 0: onService(true)
//            │   ▼
//            │  IDLE ◄── shutdown() by the application ──────────┐
//            │   │ │ settings, startup (not after shutdown());   │
//            │   │ │ refused: again after a pause                │
//            │   │ └───────────────────► STARTED ────────────────┘
//            │   │                          │ connect, getIds, GetMirvoInstance per phone: onPhone
//            │   ▼                          ▼
//            └─ LOST: onGone for each phone, ReleaseInstance, onService(false)
//
// - SEEKING and UNFIT have no manager: requests end with a status of their own. IDLE and STARTED
//   serve the requests, one after the other.
// - Losses come before comings and goings of phones, those before attempts, those before requests.
// - LOST is entered when the library says that the service is lost, when getIds does not answer 0
//   any more, and when the queue of events has overflown. After an overflow SEEKING waits until the
//   loop has dispatched the loss, since the queue would overflow again. Nobody tries whether a lost
//   service still answers: the library has let its binding go, so this manager fails for ever.
// - All that it posts to the loop has reserved room. A phone's last event is posted behind its
//   release, so nothing can follow it, and holds all handlers of the phone.
// - Closing ends it between two calls; it then releases the manager, and posts nothing.
class Worker {
public:
    Worker(std::shared_ptr<SessionCore> core, std::string version)
        : mCore(std::move(core)),
          mVersion(std::move(version)),
          mPause(mCore->mOptions.firstPause),
          mEvents(*mCore) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void run() {
        std::unique_lock lock(mCore->mLock);
        mCore->mWake.wait(lock, [this] { return mCore->mClosing || mCore->mBegun; });
        mAttempt = Clock::now();
        while (!mCore->mClosing) {
            if (mCore->mLoss != SessionCore::Loss::None) {
                const SessionCore::Loss loss = mCore->mLoss;
                lock.unlock();
                lose(loss);
            } else if (!mCore->mChanges.empty()) {
                lock.unlock();
                follow();
            } else if (std::exchange(mCore->mResumed, false)) {
                mAttempt = Clock::now();
                continue;
            } else if (mAttempt && Clock::now() >= *mAttempt) {
                lock.unlock();
                attempt();
            } else if (!mCore->mRequests.empty()) {
                const std::shared_ptr<Request> request = mCore->dequeue();
                const bool late = Clock::now() > request->mLatest;
                lock.unlock();
                serve(request, late);
            } else {
                if (mAttempt) {
                    mCore->mWake.wait_until(lock, *mAttempt);
                } else {
                    mCore->mWake.wait(lock);
                }
                continue;
            }
            lock.lock();
        }
        lock.unlock();
        release();
    }

    // Once the thread has ended, on the loop's: what the phones' handlers hold goes.
    void clear() {
        for (const auto& entry : std::exchange(mLines, {})) {
            if (entry.second.phone != nullptr) entry.second.phone->clear();
        }
    }

private:
    // A phone that is attached. Without an instance it has not been told to the application.
    struct Line {
        std::shared_ptr<PhoneState> phone;
        std::unique_ptr<PhoneEvents> events;
    };

    // Whether nothing has come up that has to be done before anything else.
    bool undisturbed() {
        const std::lock_guard lock(mCore->mLock);
        return !mCore->mClosing && mCore->mLoss == SessionCore::Loss::None;
    }

    template <typename Task>
    void post(Task&& task) {
        mCore->mQueue.postTask(std::forward<Task>(task));
    }

    void later() {
        const std::chrono::milliseconds longest = mCore->mOptions.longestPause;
        mAttempt = after(mPause);
        mPause = mPause < longest / 2 ? 2 * mPause : longest;
    }

    // Does what is to be done and has not succeeded so far.
    void attempt() {
        mAttempt.reset();
        if (mManager == nullptr) {
            seek();
        } else if (mWanted && !mStarted && !shutdownWaits()) {
            absorb();
            start();
        } else {
            list();
        }
    }

    void seek() {
        ZRMirvoManager* manager = ZRMirvoManager::GetInstance(mVersion.c_str());
        if (manager == nullptr) return refused();
        mManager = manager;
        mManager->RegisterCallback(&mEvents);
        unsigned int ids[10];
        unsigned int count = 0;
        if (!undisturbed() || mManager->getIds(ids, &count) != 0) {
            release();
            tellService(false);
            return later();
        }
        tellService(true);
        attempt();
    }

    // There is no manager for this application, or there is none yet: the service may not have
    // given a version that can be read.
    void refused() {
        const ZRMirvoVersion version = ZRMirvoManager::getVersion();
        if (version.serverMajor < 0) {
            tellService(false);
            return later();
        }
        SessionCore* core = mCore.get();
        post([core, version] { core->mHandlers.versionMismatch(version); });
        mCore->end(SessionCore::Fate::VersionMismatch);
    }

    // Whether the application has asked for a shutdown meanwhile, before which nothing is started.
    bool shutdownWaits() {
        const std::lock_guard lock(mCore->mLock);
        const auto& requests = mCore->mRequests;
        return std::any_of(requests.begin(), requests.end(), [](const auto& request) {
            const Control* control = request->control();
            return control != nullptr && control->what() == Control::What::Shutdown;
        });
    }

    // The settings before, startup, connect after it.
    Status start() {
        send(Control::What::ConfigFile);
        send(Control::What::BluetoothConfig);
        Status status(Status::Code::Failed);
        if (undisturbed()) status = Status::ofResult(mManager->startup());
        mStarted = static_cast<bool>(status);
        if (mStarted) {
            send(Control::What::Connect);
            list();
        } else {
            later();
        }
        for (const std::shared_ptr<Control>& setting : std::exchange(mAbsorbed, {}))
            setting->refuse(Status(Status::Code::Refused, kKept));
        return status;
    }

    // Takes the settings that wait in front of everything else.
    void absorb() {
        const std::lock_guard lock(mCore->mLock);
        while (!mCore->mRequests.empty()) {
            Control* setting = mCore->mRequests.front()->control();
            if (setting == nullptr || !setting->setting()) return;
            const auto taken = std::static_pointer_cast<Control>(mCore->dequeue());
            mKept[setting->what()] = taken;
            mAbsorbed.push_back(taken);
        }
    }

    // Sends a setting that is kept.
    void send(Control::What what) {
        const auto kept = mKept.find(what);
        if (kept == mKept.end() || !undisturbed()) return;
        const Status status = kept->second->call(*mManager);
        const auto rest =
            std::partition(mAbsorbed.begin(), mAbsorbed.end(),
                           [what](const auto& setting) { return setting->what() != what; });
        std::for_each(rest, mAbsorbed.end(), [&](const auto& setting) { setting->finish(status); });
        mAbsorbed.erase(rest, mAbsorbed.end());
    }

    // Looks which phones are there. Those that come and go meanwhile are told by their events, too.
    void list() {
        follow();
        unsigned int ids[10];
        unsigned int count = 0;
        if (!undisturbed()) return later();
        if (mManager->getIds(ids, &count) != 0) {
            lost();
            return later();
        }
        for (unsigned int i = 0; i < count; ++i)
            mLines[ids[i]];
        if (bind()) mPause = mCore->mOptions.firstPause;
    }

    // Does what the events say, in their order.
    void follow() {
        std::vector<Change> changes;
        changes.reserve(SessionCore::kMaxChanges);
        {
            const std::lock_guard lock(mCore->mLock);
            std::swap(changes, mCore->mChanges);
        }
        for (const Change& change : changes) {
            if (change.attached) {
                mLines[change.accessoryId];
                bind();
            } else {
                leave(change.accessoryId);
            }
        }
    }

    // Obtains the instances that there are not yet, and tells of the phones. False, with another
    // attempt ahead, when one is not to be had.
    bool bind() {
        bool bound = true;
        for (auto& [id, line] : mLines) {
            if (line.phone != nullptr) continue;
            ZRMirvo* instance = undisturbed() ? mManager->GetMirvoInstance(id) : nullptr;
            if (instance == nullptr) {
                bound = false;
                continue;
            }
            line.phone = std::make_shared<PhoneState>(mCore, id);
            line.phone->mInstance = instance;
            line.events = std::make_unique<PhoneEvents>(mCore, line.phone);
            post([phone = line.phone] { phone->mSession->mHandlers.phone(phone); });
            instance->RegisterCallback(line.events.get());
        }
        if (!bound) later();
        return bound;
    }

    void leave(unsigned int id) {
        const auto found = mLines.find(id);
        if (found == mLines.end()) return;
        const Line line = std::move(found->second);
        mLines.erase(found);
        if (line.phone == nullptr) return;
        mManager->ReleaseMirvoInstance(line.phone->mInstance);
        end(line);
    }

    void end(const Line& line) {
        line.phone->mInstance = nullptr;
        {
            const std::lock_guard lock(mCore->mLock);
            line.phone->mGone = true;
        }
        mCore->mQueue.postEvent(std::make_unique<GoneEvent>(line.phone));
    }

    void lose(SessionCore::Loss loss) {
        lost();
        if (loss == SessionCore::Loss::Service) return later();
        mAttempt.reset();
        post([core = mCore.get()] { core->resume(); });
    }

    void lost() {
        release();
        for (const auto& entry : std::exchange(mLines, {})) {
            if (entry.second.phone != nullptr) end(entry.second);
        }
        tellService(false);
    }

    // Whatever the library says from here on, it says of the next manager.
    void release() {
        if (mManager == nullptr) return;
        ZRMirvoManager::ReleaseInstance(std::exchange(mManager, nullptr));
        mStarted = false;
        const std::lock_guard lock(mCore->mLock);
        mCore->mChanges.clear();
        mCore->mLoss = SessionCore::Loss::None;
    }

    void tellService(bool there) {
        if (mTold == there) return;
        mTold = there;
        post([core = mCore.get(), there] { core->mHandlers.service(there); });
    }

    void serve(const std::shared_ptr<Request>& request, bool late) {
        using Code = Status::Code;
        Control* control = request->control();
        if (control != nullptr && control->setting()) {
            mKept[control->what()] = std::static_pointer_cast<Control>(request);
        }
        const PhoneState* phone = request->phone();
        if (phone != nullptr && phone->mInstance == nullptr) {
            request->refuse(Status(Code::Gone));
        } else if (late) {
            request->refuse(Status(Code::TooLate));
            // The start may have waited for a shutdown that does not come.
            if (control != nullptr && mManager != nullptr) mAttempt = Clock::now();
        } else if (control != nullptr) {
            control->finish(perform(*control));
        } else if (mManager == nullptr) {
            request->refuse(Status(Code::NoService));
        } else {
            request->perform(*mManager, phone == nullptr ? nullptr : phone->mInstance);
        }
    }

    Status perform(const Control& control) {
        using What = Control::What;
        const What what = control.what();
        if (what == What::Startup || what == What::Shutdown) mWanted = what == What::Startup;
        if (what == What::Disconnect) forget(control.text());
        if (mManager == nullptr) return Status(Status::Code::NoService);
        if (what == What::Startup) return start();
        if (what == What::Connect && !mStarted) return Status(Status::Code::Refused, kKept);
        if (what == What::Shutdown) mStarted = false;
        return control.call(*mManager);
    }

    // What has been disconnected is not connected again. The empty text stands for everything.
    void forget(const std::string& disconnected) {
        const auto kept = mKept.find(Control::What::Connect);
        if (kept == mKept.end()) return;
        if (disconnected.empty() || disconnected == kept->second->text()) mKept.erase(kept);
    }

    static constexpr const char* kKept = "the service is not started; it is kept for the start";

    const std::shared_ptr<SessionCore> mCore;
    const std::string mVersion;
    // The pause before the next attempt but one, and when the next attempt is due.
    std::chrono::milliseconds mPause;
    std::optional<Clock::time_point> mAttempt;

    ManagerEvents mEvents;
    ZRMirvoManager* mManager = nullptr;
    // Whether the application wants the service to be started, and whether it is.
    bool mWanted = true;
    bool mStarted = false;
    // What the application knows.
    std::optional<bool> mTold;
    std::map<unsigned int, Line> mLines;
    // The settings, and those of them that wait for the start.
    std::map<Control::What, std::shared_ptr<Control>> mKept;
    std::vector<std::shared_ptr<Control>> mAbsorbed;
};

}  // namespace zrmirvo::detail

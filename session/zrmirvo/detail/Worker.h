#pragma once

#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../Status.h"
#include "LibraryEvents.h"
#include "Operation.h"
#include "PhoneState.h"
#include "Phones.h"
#include "SessionCore.h"
#include "Settings.h"

namespace zrmirvo::detail {

// The work of the session's own thread. Apart from the library's threads that deliver events,
// only this thread calls the library:
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
// - SEEKING and UNFIT have no manager: requests end with NoService or VersionMismatch. IDLE and
//   STARTED serve the requests, one after the other.
// - A loss is handled first, then phones that come and go, then attempts, and requests last.
// - LOST is entered when the library reports the loss of the service, when getIds no longer answers
//   0, and when the queue of events overflows. After an overflow, SEEKING waits until the loop has
//   dispatched the loss, since the queue would overflow again. A lost service is not asked again:
//   the library has released its binding, so this manager fails for ever.
// - Pauses grow until a service has been there for as long as the longest of them.
// - The queue has no bounds for what this thread posts. A phone's last event is posted after its
//   release, so nothing can follow it, and holds all handlers of the phone.
// - Closing takes effect between two calls. The thread then releases the manager and posts nothing.
class Worker {
public:
    Worker(std::shared_ptr<SessionCore> core, std::string version)
        : mCore(std::move(core)),
          mVersion(std::move(version)),
          mPause(mCore->mOptions.firstPause),
          mEvents(*mCore),
          mPhones(mCore),
          mSettings(*mCore) {}
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

    // Destroys the phones' handlers. Called on the loop's thread after this thread has ended.
    void clear() { mPhones.clear(); }

private:
    template <typename Task>
    void post(Task&& task) {
        mCore->mQueue.postTask(std::forward<Task>(task));
    }

    void later() {
        using std::chrono::milliseconds;
        // Without a pause, the requests would never have their turn.
        const milliseconds longest = std::max(mCore->mOptions.longestPause, milliseconds(1));
        mAttempt = after(mPause);
        // With the maximum, a first pause of 0 grows, too.
        mPause = mPause < longest / 2 ? std::max(2 * mPause, milliseconds(1)) : longest;
    }

    // Makes the pauses short again when the service has been there for a while. So the pauses keep
    // growing for a service that crashes after each start.
    void calm() {
        if (mManager != nullptr && Clock::now() >= mCalm) mPause = mCore->mOptions.firstPause;
    }

    // Takes the next step that has not succeeded so far.
    void attempt() {
        mAttempt.reset();
        if (mManager == nullptr) {
            seek();
        } else if (mWanted && !mStarted && !shutdownWaits()) {
            mSettings.absorb();
            start([this] { return shutdownWaits(); });
        } else {
            list();
        }
    }

    void seek() {
        mManager = ZRMirvoManager::GetInstance(mVersion.c_str());
        if (mManager == nullptr) {
            // The service may have given no version that can be read, or gives one only now.
            const ZRMirvoVersion version = ZRMirvoManager::getVersion();
            if (version.serverMajor < 0) {
                tellService(false);
                return later();
            }
            mManager = ZRMirvoManager::GetInstance(mVersion.c_str());
            if (mManager == nullptr) return end(version);
        }
        mManager->RegisterCallback(&mEvents);
        unsigned int ids[10];
        unsigned int count = 0;
        if (!mCore->undisturbed() || mManager->getIds(ids, &count) != 0) {
            release();
            tellService(false);
            return later();
        }
        mCalm = after(mCore->mOptions.longestPause);
        tellService(true);
        attempt();
    }

    // The library knows the version of the service, and it does not fit.
    void end(const ZRMirvoVersion& version) {
        SessionCore* core = mCore.get();
        post([core, version] { core->mHandlers.versionMismatch(version); });
        mCore->end(SessionCore::Fate::VersionMismatch);
    }

    // Whether the application has asked for a shutdown in the meantime. Nothing is started then.
    bool shutdownWaits() {
        const std::lock_guard lock(mCore->mLock);
        const auto& requests = mCore->mRequests;
        return std::any_of(requests.begin(), requests.end(), [](const auto& request) {
            const Control* control = request->control();
            return control != nullptr && control->what() == Control::What::Shutdown;
        });
    }

    // Sends the settings before startup, startup itself unless it is not wanted any more, and
    // connect after it.
    template <typename Unwanted>
    Status start(Unwanted unwanted) {
        mSettings.send(Control::What::ConfigFile, *mManager);
        mSettings.send(Control::What::BluetoothConfig, *mManager);
        Status status(Status::Code::Failed);
        if (mCore->undisturbed() && !unwanted()) status = Status::ofResult(mManager->startup());
        mStarted = static_cast<bool>(status);
        if (mStarted) {
            mSettings.send(Control::What::Connect, *mManager);
            list();
        } else {
            later();
        }
        mSettings.endAbsorbed();
        return status;
    }

    // Asks which phones are there. Events report those that come and go at the same time, too.
    void list() {
        follow();
        unsigned int ids[10];
        unsigned int count = 0;
        if (!mCore->undisturbed()) return later();
        if (mManager->getIds(ids, &count) != 0) {
            lost();
            return later();
        }
        for (unsigned int i = 0; i < count; ++i)
            mPhones.attach(ids[i]);
        if (bind()) calm();
    }

    // Handles the phones that have come and gone, in the order of the events.
    void follow() {
        std::vector<Change> changes;
        changes.reserve(SessionCore::kMaxChanges);
        {
            const std::lock_guard lock(mCore->mLock);
            std::swap(changes, mCore->mChanges);
        }
        for (const Change& change : changes) {
            if (change.attached) {
                mPhones.attach(change.accessoryId);
                bind();
            } else {
                mPhones.detach(change.accessoryId, *mManager);
            }
        }
    }

    // Reports the phones that the application does not know yet. When the library gives no instance
    // for one of them, plans another attempt and returns false.
    bool bind() {
        const bool bound = mPhones.bind(*mManager);
        if (!bound) later();
        return bound;
    }

    void lose(SessionCore::Loss loss) {
        lost();
        if (loss == SessionCore::Loss::Service) return later();
        mAttempt.reset();
        post([core = mCore.get()] { core->resume(); });
    }

    void lost() {
        calm();
        release();
        mPhones.endAll();
        tellService(false);
    }

    // Releases the manager. Everything that the library reports afterwards is about the next one.
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
            mSettings.keep(std::static_pointer_cast<Control>(request));
        }
        if (control != nullptr && control->what() == Control::What::Disconnect) {
            mSettings.forget(control->text());
        }
        const PhoneState* phone = request->phone();
        if (phone != nullptr && phone->mInstance == nullptr) {
            request->refuse(Status(Code::Gone));
        } else if (late) {
            request->refuse(Status(Code::TooLate));
            // The start may have waited for this request, if it was a shutdown.
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
        if (mManager == nullptr) return Status(Status::Code::NoService);
        if (what == What::Startup) return start([] { return false; });
        if (what == What::Connect && !mStarted) {
            return Status(Status::Code::Refused, Settings::kKept);
        }
        const Status status = control.call(*mManager);
        if (what == What::Shutdown && status) mStarted = false;
        return status;
    }

    const std::shared_ptr<SessionCore> mCore;
    const std::string mVersion;
    // The pause after the next attempt, and the time of the next attempt.
    std::chrono::milliseconds mPause;
    std::optional<Clock::time_point> mAttempt;
    // The pauses become short again when the service is still there at this time.
    Clock::time_point mCalm;

    ManagerEvents mEvents;
    ZRMirvoManager* mManager = nullptr;
    // Whether the application wants the service to be started, and whether it is.
    bool mWanted = true;
    bool mStarted = false;
    // What the application was told last.
    std::optional<bool> mTold;
    Phones mPhones;
    Settings mSettings;
};

}  // namespace zrmirvo::detail

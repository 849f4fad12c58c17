#include "mirvoctl/Monitor.h"

#include <utils/Mutex.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <memory>

#include "mirvoctl/Events.h"
#include "tool/Waker.h"

namespace mirvoctl {
namespace {

// How long after the loss of the service its last events are waited for.
constexpr std::chrono::milliseconds kLast(200);

// Prints the manager's events at once and leaves what follows from them to the main thread, since a
// request inside a callback would hold back the events behind it.
class Monitor final : public zrmirvo::ZRMirvoManagerCallback {
public:
    Monitor(zrmirvo::ZRMirvoManager& manager, const Output& output, tool::Waker& waker,
            const std::vector<uint32_t>& ids)
        : mManager(manager), mOutput(output), mWaker(waker), mIds(ids) {
        mManager.RegisterCallback(this);
    }

    ~Monitor() {
        mManager.UnregisterCallback(this);
        while (!mDevices.empty())
            forget(mDevices.begin()->first);
    }

    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    void onError() override {
        mOutput.event("onError", Json::object());
        android::AutoMutex lock(mLock);
        mLost = true;
        mWaker.wake();
    }
    void onAttach(unsigned int accessoryId) override { note("onAttach", accessoryId, true); }
    void onDetach(unsigned int accessoryId) override { note("onDetach", accessoryId, false); }

    void run() {
        unsigned int ids[10] = {};
        unsigned int count = 0;
        const int status = mManager.getIds(ids, &count);
        if (status != 0) return mOutput.result("getIds", status);
        std::for_each(ids, ids + count, [this](unsigned int id) { watch(id); });
        announce();
        while (mWaker.waitUntil([this] { return somethingToDo(); })) {
            if (lost()) {
                // What the accessories sent before may still be on its way, on threads of their
                // own.
                mWaker.waitUntil([] { return false; }, std::chrono::steady_clock::now() + kLast);
                throw Failure(kNoService, "the service is gone: start it again");
            }
            follow();
        }
    }

private:
    struct Device {
        zrmirvo::ZRMirvo* instance;
        std::unique_ptr<DeviceEvents> events;
        bool detached;
    };
    struct Change {
        uint32_t accessoryId;
        bool attached;
    };

    void note(const char* name, uint32_t accessoryId, bool attached) {
        mOutput.event(name, {{"accessoryId", accessoryId}});
        android::AutoMutex lock(mLock);
        mChanges.push_back({accessoryId, attached});
        mWaker.wake();
    }

    bool lost() {
        android::AutoMutex lock(mLock);
        return mLost;
    }

    bool somethingToDo() {
        android::AutoMutex lock(mLock);
        return mLost || !mChanges.empty();
    }

    // Goes after the accessories that have come and gone.
    void follow() {
        std::deque<Change> changes;
        {
            android::AutoMutex lock(mLock);
            changes.swap(mChanges);
        }
        for (const Change& change : changes) {
            const auto known = mDevices.find(change.accessoryId);
            if (!change.attached) {
                // Released only when it comes again: what it sent last may still be on its way.
                if (known != mDevices.end()) known->second.detached = true;
                continue;
            }
            if (known != mDevices.end() && known->second.detached) forget(change.accessoryId);
            if (watch(change.accessoryId)) announce();
        }
    }

    bool watch(uint32_t id) {
        const bool wanted = mIds.empty() || std::count(mIds.begin(), mIds.end(), id) > 0;
        if (!wanted || mDevices.count(id) > 0) return false;
        zrmirvo::ZRMirvo* instance = mManager.GetMirvoInstance(id);
        // It may be gone again; if not, the log has a line.
        if (instance == nullptr) return false;
        auto events = std::make_unique<DeviceEvents>(
            id,
            [this](const std::string& name, const Json& values) { mOutput.event(name, values); });
        instance->RegisterCallback(events.get());
        mDevices[id] = {instance, std::move(events), false};
        return true;
    }

    void forget(uint32_t id) {
        mManager.ReleaseMirvoInstance(mDevices[id].instance);
        mDevices.erase(id);
    }

    // From this line on nothing that these accessories send is missed.
    void announce() { mOutput.event("monitoring", {{"accessories", watched()}}); }

    std::vector<uint32_t> watched() const {
        std::vector<uint32_t> ids;
        for (const auto& [id, device] : mDevices)
            ids.push_back(id);
        return ids;
    }

    zrmirvo::ZRMirvoManager& mManager;
    const Output& mOutput;
    tool::Waker& mWaker;
    const std::vector<uint32_t> mIds;
    std::map<uint32_t, Device> mDevices;

    android::Mutex mLock;
    std::deque<Change> mChanges GUARDED_BY(mLock);
    bool mLost GUARDED_BY(mLock) = false;
};

}  // namespace

void monitor(Connection& connection, const Output& output, const std::vector<uint32_t>& ids) {
    tool::Waker waker(output.standard());
    Monitor(connection.manager(), output, waker, ids).run();
}

}  // namespace mirvoctl

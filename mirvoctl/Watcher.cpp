#include "mirvoctl/Watcher.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "tool/EventTable.h"

namespace mirvoctl {
namespace {

// How much may wait for a slow reader of standard output before the library waits, too.
constexpr zrmirvo::EventQueue::Bounds kBounds = {size_t{1} << 18, size_t{64} << 20};

// The service lists no more.
constexpr unsigned int kMaxIds = 10;

// How long the end waits for the thread, which needs longer only while a request is under way.
constexpr std::chrono::milliseconds kPatience(100);

}  // namespace

Watcher::Watcher(Connection& connection, const tool::Clock& clock, std::vector<uint32_t> ids,
                 Sink sink)
    : mConnection(connection),
      mClock(clock),
      mIds(std::move(ids)),
      mSink(std::move(sink)),
      mQueue(kBounds) {}

void Watcher::start(bool wait) {
    mWorker.post([this, wait] { connect(wait); });
    mEnd = mWorker.start(shared_from_this(), [this] { forgetAll(); });
}

void Watcher::restart() {
    mWorker.post([this] {
        forgetAll();
        connect(/*wait=*/true);
    });
}

void Watcher::stop() {
    mWorker.stop();
    {
        android::AutoMutex lock(mLock);
        mStopped = true;
        mRoom.broadcast();
    }
    mEnd.wait_for(kPatience);
    mConnection.useWhenReady(std::move(mEnd));
}

void Watcher::dispatch() {
    mQueue.dispatch();
}

void Watcher::put(std::function<void()> task, size_t bytes) {
    // There is room from the first event on: those behind it may take so long that the service
    // would give this client up.
    const auto run = [this, task = std::move(task)] {
        task();
        android::AutoMutex lock(mLock);
        mRoom.broadcast();
    };
    android::AutoMutex lock(mLock);
    while (!mStopped && !mQueue.post(run, bytes))
        mRoom.wait(mLock);
}

void Watcher::putEvent(const std::string& name, const Json& fields) {
    // A text of an event takes about as much as its fields.
    const auto data = fields.find("data");
    const size_t bytes = data == fields.end() ? 0 : data->get_ref<const std::string&>().size() * 2;
    put([this, event = Event{name, fields, mClock.milliseconds()}] { mSink.event(event); }, bytes);
}

void Watcher::onError() {
    putEvent("onError", Json::object());
}

void Watcher::onAttach(unsigned int accessoryId) {
    putEvent("onAttach", {{"accessory", accessoryId}});
    mWorker.post([this, accessoryId] {
        const auto known = mDevices.find(accessoryId);
        if (known != mDevices.end() && known->second.detached) forget(accessoryId);
        if (watch(accessoryId)) announce();
    });
}

void Watcher::onDetach(unsigned int accessoryId) {
    putEvent("onDetach", {{"accessory", accessoryId}});
    mWorker.post([this, accessoryId] {
        // Released only when it comes again: what it sent last may still be on its way.
        const auto known = mDevices.find(accessoryId);
        if (known != mDevices.end()) known->second.detached = true;
    });
}

void Watcher::connect(bool wait) {
    try {
        mManager = wait ? mConnection.managerWhenThere([this] { return mWorker.stopped(); })
                        : &mConnection.manager();
        if (mManager == nullptr) return;
        mManager->RegisterCallback(this);
        watchAll();
        announce();
    } catch (const Failure& failure) {
        put([this, failure] { mSink.failed(failure); });
    }
}

void Watcher::watchAll() {
    unsigned int listed[kMaxIds] = {};
    unsigned int count = 0;
    const int status = mManager->getIds(listed, &count);
    if (status != 0) {
        throw Failure(kRefused,
                      "the service does not list its accessories: getIds failed with"
                      " status " +
                          std::to_string(status));
    }
    if (mIds.empty() && count == kMaxIds) {
        fprintf(stderr,
                "mirvoctl: the service lists ten accessories at most: name those that are"
                " missing below\n");
    }
    std::vector<uint32_t> ids(listed, listed + count);
    // An accessory beyond those that are listed may be there all the same.
    for (const uint32_t id : mIds) {
        if (count == kMaxIds && std::count(listed, listed + count, id) == 0) ids.push_back(id);
    }
    for (const uint32_t id : ids) {
        if (mWorker.stopped()) return;
        watch(id);
    }
}

bool Watcher::watch(uint32_t id) {
    const bool wanted = mIds.empty() || std::count(mIds.begin(), mIds.end(), id) > 0;
    if (!wanted || mDevices.count(id) > 0 || mManager == nullptr) return false;
    zrmirvo::ZRMirvo* instance = mManager->GetMirvoInstance(id);
    // It may be gone again; if not, the log has a line.
    if (instance == nullptr) return false;
    auto events = std::make_unique<DeviceEvents>(
        id, [this](const std::string& name, const Json& fields) { putEvent(name, fields); });
    instance->RegisterCallback(events.get());
    mDevices[id] = {instance, std::move(events), false};
    return true;
}

void Watcher::forget(uint32_t id) {
    mManager->ReleaseMirvoInstance(mDevices[id].instance);
    mDevices.erase(id);
}

void Watcher::forgetAll() {
    if (mManager == nullptr) return;
    mManager->UnregisterCallback(this);
    while (!mDevices.empty())
        forget(mDevices.begin()->first);
    mManager = nullptr;
}

void Watcher::announce() {
    std::vector<uint32_t> ids;
    for (const auto& [id, device] : mDevices)
        ids.push_back(id);
    put([this, ids] { mSink.watching(ids); });
}

}  // namespace mirvoctl

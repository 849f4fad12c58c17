#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mirvoctl/RecordingOptions.h"
#include "recording/Comparison.h"
#include "recording/Lives.h"
#include "recording/Timeline.h"

namespace mirvoctl {

// Says when each step of an application that is played again may be taken: when everything has
// happened that had happened before it in the recording, answers and events, and when as much time
// has passed as had then. An event that does not come is waited for as long as the options say.
// Thread-safe.
class ReplayPlan {
public:
    ReplayPlan(const recording::Timeline& timeline, const RecordingOptions& options);

    // The steps of each thread, as indices of the timeline's entries.
    const std::map<uint32_t, std::vector<size_t>>& threads() const { return mThreads; }

    // Waits until a step may be taken. False when the replay has been given up.
    bool await(size_t step);
    // A step has been taken; a request is then answered.
    void taken(size_t step);
    // What a listener is told when its service is lost.
    static constexpr const char* kLost = "lost";
    // A listener, by its number in the recording, has got a notification.
    void received(uint32_t listener, const std::string& what);
    void giveUp();

    // What a notification is compared by.
    std::string nameOf(const recording::Decoded& notification) const {
        return commandOf(mComparison(notification));
    }
    const recording::Comparison& comparison() const { return mComparison; }

    struct Events {
        size_t came = 0;
        std::vector<std::string> missed;
        size_t others = 0;
        // Whether the service was lost where the recording goes on with it, which ends the replay.
        bool lost = false;
    };
    // Waits for the events that are left, and answers what came of all.
    Events finish();

private:
    using Clock = std::chrono::steady_clock;
    // Where something stands in the recording: in which life of the service, and at which entry.
    // The record of a loss may stand behind that of a binding to the next service, which must not
    // be made before the loss all the same.
    using Place = std::pair<size_t, size_t>;

    Place placeOf(size_t entry) const;
    Place endOf(size_t step) const;
    // Waits until nothing is left that happened before `place`.
    bool awaitBefore(const Place& place) REQUIRES(mLock);
    // How long after the last that has happened an entry is due.
    std::chrono::nanoseconds dueIn(size_t entry) const REQUIRES(mLock);
    void happened(const Place& place) REQUIRES(mLock);
    void waitUntil(Clock::time_point time) REQUIRES(mLock);

    const recording::Timeline& mTimeline;
    const std::vector<recording::Timeline::Entry>& mEntries;
    const RecordingOptions& mOptions;
    const recording::Comparison mComparison;
    const std::vector<recording::Life> mLives;
    std::map<uint32_t, size_t> mLifeOf;  // by binding
    std::map<uint32_t, std::vector<size_t>> mThreads;
    // The listeners whose service is not lost in the recording.
    std::set<uint32_t> mLasting;

    android::Mutex mLock;
    android::Condition mChanged;
    bool mGivenUp GUARDED_BY(mLock) = false;
    // What has not happened yet: ends of steps, and events.
    std::set<Place> mLeft GUARDED_BY(mLock);
    // The events among them, by entry, and by listener and what they say.
    std::map<size_t, std::string> mEvents GUARDED_BY(mLock);
    std::map<std::pair<uint32_t, std::string>, std::set<size_t>> mAwaited GUARDED_BY(mLock);
    // The last that has happened, and when.
    Place mLast GUARDED_BY(mLock);
    Clock::time_point mLastTime GUARDED_BY(mLock) = Clock::now();
    // Whether the event that was waited for last has not come. Then the next one need not, either.
    bool mImpatient GUARDED_BY(mLock) = false;
    Events mResult GUARDED_BY(mLock);
};

}  // namespace mirvoctl

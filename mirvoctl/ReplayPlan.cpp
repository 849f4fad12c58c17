#include "mirvoctl/ReplayPlan.h"

#include <algorithm>

#include "recording/Lives.h"

namespace mirvoctl {

using accessory::FrameKind;
using android::AutoMutex;
using recording::Timeline;

ReplayPlan::ReplayPlan(const Timeline& timeline, const RecordingOptions& options)
    : mTimeline(timeline),
      mEntries(timeline.entries()),
      mOptions(options),
      mComparison(options.ignored) {
    // A file that is not the first of a recording repeats the bindings and listeners that there
    // are.
    std::set<std::pair<uint32_t, uint32_t>> live;
    // Nor is a binding repeated to a service that was about to be gone.
    std::set<uint32_t> served;
    std::set<uint32_t> lasting;
    for (const recording::Life& life : recording::livesOf(timeline)) {
        served.insert(life.bindings.begin(), life.bindings.end());
        if (!life.loss) lasting.insert(life.bindings.begin(), life.bindings.end());
    }
    AutoMutex lock(mLock);
    for (size_t i = 0; i < mEntries.size(); ++i) {
        const auto& header = mEntries[i].header;
        if (served.count(header.binding) == 0) continue;
        if (lasting.count(header.binding) > 0) mLasting.insert(header.listener);
        const std::pair<uint32_t, uint32_t> place(header.binding, header.listener);
        switch (mEntries[i].kind()) {
            case FrameKind::kBound:
            case FrameKind::kListenerSet:
                if (!live.insert(place).second) break;
                mThreads[header.thread].push_back(i);
                mLeft.insert(i);
                break;
            case FrameKind::kUnbound:
            case FrameKind::kListenerRemoved:
                live.erase(place);
                mThreads[header.thread].push_back(i);
                mLeft.insert(i);
                break;
            case FrameKind::kRequest:
                mThreads[header.thread].push_back(i);
                mLeft.insert(endOf(i));
                break;
            case FrameKind::kNotify:
            case FrameKind::kStatus: {
                const bool isNotify = mEntries[i].kind() == FrameKind::kNotify;
                if (!isNotify && !isLoss(timeline.record(mEntries[i]))) break;
                const std::string what = isNotify ? nameOf(timeline.decode(mEntries[i])) : kLost;
                mLeft.insert(i);
                mEvents[i] = what;
                mAwaited[{header.listener, what}].insert(i);
                break;
            }
            default:
                break;
        }
    }
}

// A request whose answer the recording does not have any more has happened with its last record.
size_t ReplayPlan::endOf(size_t step) const {
    if (mEntries[step].kind() != FrameKind::kRequest) return step;
    return mEntries[step].other.value_or(mEntries.size() + step);
}

void ReplayPlan::waitUntil(Clock::time_point time) {
    const auto left = std::chrono::nanoseconds(time - Clock::now()).count();
    if (left > 0) mChanged.waitRelative(mLock, left);
}

bool ReplayPlan::await(size_t step) {
    AutoMutex lock(mLock);
    if (!awaitBefore(step)) return false;
    const uint64_t before = mTimeline.since(mEntries[std::min(mLast, step)]);
    const uint64_t now = mTimeline.since(mEntries[step]);
    const auto time = mLastTime + mOptions.speed.scaled(now - std::min(now, before));
    while (!mGivenUp && Clock::now() < time)
        waitUntil(time);
    return !mGivenUp;
}

bool ReplayPlan::awaitBefore(size_t place) {
    while (!mGivenUp && !mLeft.empty() && *mLeft.begin() < place) {
        const size_t next = *mLeft.begin();
        const auto event = mEvents.find(next);
        if (event == mEvents.end()) {
            mChanged.wait(mLock);
            continue;
        }
        const uint64_t before = mTimeline.since(mEntries[std::min(mLast, next)]);
        const uint64_t then = mTimeline.since(mEntries[next]);
        const std::chrono::milliseconds patience(mImpatient ? 0 : mOptions.patience);
        const auto end =
            mLastTime + mOptions.speed.scaled(then - std::min(then, before)) + patience;
        if (Clock::now() < end) {
            waitUntil(end);
            continue;
        }
        mImpatient = true;
        mResult.missed.push_back(event->second);
        mAwaited[{mEntries[next].header.listener, event->second}].erase(next);
        mEvents.erase(event);
        happened(next);
    }
    return !mGivenUp;
}

void ReplayPlan::happened(size_t place) {
    mLeft.erase(place);
    if (place >= mLast && place < mEntries.size()) {
        mLast = place;
        mLastTime = Clock::now();
    }
    mChanged.broadcast();
}

void ReplayPlan::taken(size_t step) {
    AutoMutex lock(mLock);
    happened(endOf(step));
}

void ReplayPlan::received(uint32_t listener, const std::string& what) {
    AutoMutex lock(mLock);
    std::set<size_t>& awaited = mAwaited[{listener, what}];
    if (awaited.empty()) {
        ++mResult.others;
        // Nothing else of the recording can come any more.
        if (what == kLost && mLasting.count(listener) > 0 && !mLeft.empty()) {
            mResult.lost = true;
            mGivenUp = true;
            mChanged.broadcast();
        }
        return;
    }
    const size_t place = *awaited.begin();
    awaited.erase(awaited.begin());
    mEvents.erase(place);
    mImpatient = false;
    ++mResult.came;
    happened(place);
}

void ReplayPlan::giveUp() {
    AutoMutex lock(mLock);
    mGivenUp = true;
    mChanged.broadcast();
}

ReplayPlan::Events ReplayPlan::finish() {
    AutoMutex lock(mLock);
    awaitBefore(mEntries.size());
    return mResult;
}

}  // namespace mirvoctl

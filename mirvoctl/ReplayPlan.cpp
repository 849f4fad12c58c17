#include "mirvoctl/ReplayPlan.h"

#include <algorithm>

namespace mirvoctl {

using accessory::FrameKind;
using android::AutoMutex;
using recording::Timeline;

ReplayPlan::ReplayPlan(const Timeline& timeline, const RecordingOptions& options)
    : mTimeline(timeline),
      mEntries(timeline.entries()),
      mOptions(options),
      mComparison(options.ignored),
      mLives(recording::livesOf(timeline)) {
    // A binding to a service that was about to be gone has no life, and is not repeated.
    for (size_t life = 0; life < mLives.size(); ++life) {
        for (const uint32_t binding : mLives[life].bindings)
            mLifeOf[binding] = life;
    }
    // A file that is not the first of a recording repeats the bindings and listeners that there
    // are.
    std::set<std::pair<uint32_t, uint32_t>> live;
    AutoMutex lock(mLock);
    for (size_t i = 0; i < mEntries.size(); ++i) {
        const auto& header = mEntries[i].header;
        const auto life = mLifeOf.find(header.binding);
        if (life == mLifeOf.end()) continue;
        if (!mLives[life->second].loss) mLasting.insert(header.listener);
        const std::pair<uint32_t, uint32_t> place(header.binding, header.listener);
        switch (mEntries[i].kind()) {
            case FrameKind::kBound:
            case FrameKind::kListenerSet:
                if (!live.insert(place).second) break;
                mThreads[header.thread].push_back(i);
                mLeft.insert(placeOf(i));
                break;
            case FrameKind::kUnbound:
            case FrameKind::kListenerRemoved:
                live.erase(place);
                mThreads[header.thread].push_back(i);
                mLeft.insert(placeOf(i));
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
                mAwaited[{header.listener, what}].insert(i);
                // What was under way when its listener was removed need not come in time again.
                if (live.count(place) == 0) break;
                mLeft.insert(placeOf(i));
                mEvents[i] = what;
                break;
            }
            default:
                break;
        }
    }
    for (auto& [thread, steps] : mThreads) {
        std::sort(steps.begin(), steps.end(),
                  [&](size_t one, size_t other) { return placeOf(one) < placeOf(other); });
    }
}

ReplayPlan::Place ReplayPlan::placeOf(size_t entry) const {
    size_t life = mLifeOf.at(mEntries[entry].header.binding);
    // A binding may be released long after its service was lost.
    while (mLives[life].end < entry && life + 1 < mLives.size() && mLives[life + 1].begin < entry)
        ++life;
    return {life, entry};
}

// A request whose answer the recording does not have any more has happened with its last record.
ReplayPlan::Place ReplayPlan::endOf(size_t step) const {
    if (mEntries[step].kind() != FrameKind::kRequest) return placeOf(step);
    const auto& other = mEntries[step].other;
    return other ? placeOf(*other) : Place(mLives.size(), step);
}

std::chrono::nanoseconds ReplayPlan::dueIn(size_t entry) const {
    const uint64_t before = mTimeline.since(mEntries[std::min(mLast.second, entry)]);
    const uint64_t then = mTimeline.since(mEntries[entry]);
    return mOptions.speed.scaled(then - std::min(then, before));
}

void ReplayPlan::waitUntil(Clock::time_point time) {
    const auto left = std::chrono::nanoseconds(time - Clock::now()).count();
    if (left > 0) mChanged.waitRelative(mLock, left);
}

bool ReplayPlan::await(size_t step) {
    AutoMutex lock(mLock);
    if (!awaitBefore(placeOf(step))) return false;
    const auto time = mLastTime + dueIn(step);
    while (!mGivenUp && Clock::now() < time)
        waitUntil(time);
    return !mGivenUp;
}

bool ReplayPlan::awaitBefore(const Place& place) {
    while (!mGivenUp && !mLeft.empty() && *mLeft.begin() < place) {
        const Place next = *mLeft.begin();
        const auto event = mEvents.find(next.second);
        if (event == mEvents.end()) {
            mChanged.wait(mLock);
            continue;
        }
        const std::chrono::milliseconds patience(mImpatient ? 0 : mOptions.patience);
        const auto end = mLastTime + dueIn(next.second) + patience;
        if (Clock::now() < end) {
            waitUntil(end);
            continue;
        }
        mImpatient = true;
        mResult.missed.push_back(event->second);
        mAwaited[{mEntries[next.second].header.listener, event->second}].erase(next.second);
        mEvents.erase(event);
        happened(next);
    }
    return !mGivenUp;
}

void ReplayPlan::happened(const Place& place) {
    mLeft.erase(place);
    if (place >= mLast && place.first < mLives.size()) {
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
    const size_t entry = *awaited.begin();
    awaited.erase(awaited.begin());
    mEvents.erase(entry);
    mImpatient = false;
    ++mResult.came;
    happened(placeOf(entry));
}

void ReplayPlan::giveUp() {
    AutoMutex lock(mLock);
    mGivenUp = true;
    mChanged.broadcast();
}

ReplayPlan::Events ReplayPlan::finish() {
    AutoMutex lock(mLock);
    awaitBefore({mLives.size(), 0});
    return mResult;
}

}  // namespace mirvoctl

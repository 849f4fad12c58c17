#include "emulator/Replay.h"

#include <algorithm>

#include "emulator/EventCommands.h"
#include "emulator/RequestLog.h"
#include "emulator/Script.h"
#include "recording/Messages.h"
#include "recording/Reader.h"
#include "recording/Row.h"

namespace emulator {

using accessory::FrameKind;
using android::AutoMutex;
using recording::Decoded;
using recording::Life;

namespace {

// A delay that is shorter is the client's and the framework's own.
constexpr std::chrono::milliseconds kLeastDelay(2);

}  // namespace

Replay::Replay(const Options& options)
    : mOptions(options),
      mTimeline(options.file),
      mComparison(options.ignored),
      mLives(recording::livesOf(mTimeline)) {
    const std::string why = mTimeline.whyNotReplayable();
    if (!why.empty()) throw recording::Malformed(why);
    const AutoMutex lock(mLock);
    for (size_t life = 0; life < mLives.size(); ++life) {
        for (const size_t place : mLives[life].requests) {
            const auto& entry = mTimeline.entries()[place];
            const auto item = recording::itemOf(mTimeline.record(entry));
            if (item == nullptr) continue;
            const Request request = identify(*item);
            mRequests[keyOf(request, *item)].places.emplace_back(life, place);
            mUnused[{life, place}] = RequestLog::describe({request, item, true});
            mPending.insert({life, place});
            if (mLives[life].answers(mTimeline, place)) mPending.insert({life, *entry.other});
        }
        for (const size_t place : mLives[life].late) {
            const auto item = recording::itemOf(mTimeline.record(mTimeline.entries()[place]));
            if (item != nullptr) mRequests[keyOf(identify(*item), *item)].late.insert(life);
        }
    }
}

std::string Replay::keyOf(const Request& request, accessory::ServiceItem& item) const {
    return shown(request, mComparison(argumentsOf(item)));
}

// A request that came after the loss in the recording may come before it now, or while a binding
// does not know of it yet. It has no answer here, either.
std::optional<Replay::Answer> Replay::lateAnswer(const Equal& equal) {
    const bool left = equal.used < equal.places.size();
    if (left && equal.places[equal.used].first == mServed) return std::nullopt;
    const bool silent = equal.late.count(mServed) > 0;
    if (!silent && !equal.places.empty()) return std::nullopt;
    return Answer{nullptr, silent, 0, std::nullopt};
}

std::optional<Replay::Answer> Replay::take(const Request& request, accessory::ServiceItem& item,
                                           uint32_t connection) {
    const std::string key = keyOf(request, item);
    const AutoMutex lock(mLock);
    if (!mLastTime) mLastTime = Clock::now();
    if (connection <= mLostConnection) return Answer{nullptr, true, 0, std::nullopt};
    const auto found = mRequests.find(key);
    if (found == mRequests.end()) {
        ++mOtherwise;
        if (mOptions.strict && mFault.empty()) {
            mFault = "the application asked " + key + ", but " + missing();
        }
        return std::nullopt;
    }
    Equal& equal = found->second;
    if (auto late = lateAnswer(equal)) return late;
    const bool again = equal.used == equal.places.size();
    const Place place = again ? equal.places.back() : equal.places[equal.used++];
    ++(again ? mAgain : mAsked);
    mUnused.erase(place);
    mPending.erase(place);

    const auto& entry = mTimeline.entries()[place.second];
    const Life& life = mLives[place.first];
    Answer answer;
    if (!life.answers(mTimeline, place.second)) {
        answer.silent = life.loss.has_value() && place.first >= mServed;
        return answer;
    }
    const auto& end = mTimeline.entries()[*entry.other];
    if (!again) answer.end = Place(place.first, *entry.other);
    if (end.kind() == FrameKind::kReply) answer.reply = recording::replyOf(mTimeline.record(end));
    const auto delay = std::chrono::duration_cast<std::chrono::milliseconds>(
        mOptions.speed.scaled(end.header.duration));
    if (delay >= kLeastDelay) answer.delayMs = static_cast<uint32_t>(delay.count());
    return answer;
}

void Replay::settled(const Answer& answer) {
    if (!answer.end) return;
    const AutoMutex lock(mLock);
    mPending.erase(*answer.end);
    mLast = std::max(mLast, answer.end->second);
    mLastTime = Clock::now();
}

// The earliest request that has not come, as a clause.
std::string Replay::missing() {
    if (mUnused.empty()) return "the recording has no further request";
    return "the recording has " + mUnused.begin()->second;
}

std::string Replay::fault(bool over) {
    const AutoMutex lock(mLock);
    if (over && mOptions.strict && mFault.empty() && !mUnused.empty()) {
        mFault = std::to_string(mUnused.size()) +
                 " recorded requests have not come, the first of them " + mUnused.begin()->second;
    }
    return mFault;
}

void Replay::prepare(World& world) const {
    for (const Life& life : mLives) {
        for (const size_t place : life.requests) {
            const auto& entry = mTimeline.entries()[place];
            const Decoded decoded = mTimeline.decode(entry);
            const auto answer = mTimeline.answerTo(entry);
            if (decoded.accessory && answer && answer->value("result", 1) == 0) {
                world.attach(*decoded.accessory);
            }
        }
    }
}

ptrdiff_t Replay::channelsLeft(Run& run, const Place& place) const {
    const auto& channels = mLives[place.first].channels;
    const auto end = std::lower_bound(channels.begin(), channels.end(), place.second);
    return mListenedBefore + (end - channels.begin()) -
           static_cast<ptrdiff_t>(run.service.listened());
}

bool Replay::allBefore(Run& run, const Place& place) {
    // An event that leaves too early does not reach the listener that had it.
    const bool listened = channelsLeft(run, place) <= 0;
    const AutoMutex lock(mLock);
    const bool asked = mPending.empty() || *mPending.begin() > place;
    return !mFault.empty() || (listened && asked);
}

// Waits until all that was asked and answered before `place` has been, and as long after it as it
// took when it was recorded. False when the replay is over.
bool Replay::awaitPlace(Run& run, const Place& place) {
    tool::Waker& waker = run.script.waker();
    const auto over = [&] { return run.over() || !fault(false).empty(); };
    const auto& entries = mTimeline.entries();
    const auto due = [&]() -> std::optional<Clock::time_point> {
        const AutoMutex lock(mLock);
        if (!mLastTime) return std::nullopt;
        const uint64_t before = mTimeline.since(entries[std::min(mLast, place.second)]);
        const uint64_t then = mTimeline.since(entries[place.second]);
        return *mLastTime + mOptions.speed.scaled(then - std::min(then, before));
    };
    // The application is not late before it has begun.
    for (;;) {
        const auto time = due();
        const auto until = time ? std::optional(*time + mOptions.patience) : std::nullopt;
        const bool waits = !allBefore(run, place) || !time;
        if (!waits || over()) break;
        waker.waitUntil([&] { return over() || due() != time || allBefore(run, place); }, until);
        if (over() || allBefore(run, place) || due() != time) continue;
        const ptrdiff_t left = channelsLeft(run, place);
        if (left > 0) mListenedBefore -= left;
        const AutoMutex lock(mLock);
        ++mEarly;
        const bool asked = mPending.empty() || *mPending.begin() > place;
        mPending.erase(mPending.begin(), mPending.upper_bound(place));
        if (mOptions.strict) {
            const std::string patience = std::to_string(mOptions.patience.count()) + " ms";
            mFault = asked ? "the application has not begun to listen within " + patience +
                                 ", as it had before the next event"
                           : "what was answered before the next event has not been asked within " +
                                 patience + ": " + missing();
        }
    }
    while (!over() && due() && Clock::now() < *due())
        waker.waitUntil(over, due());
    const AutoMutex lock(mLock);
    mLast = std::max(mLast, place.second);
    mLastTime = Clock::now();
    return mFault.empty() && !run.over();
}

void Replay::play(Run& run) {
    for (size_t life = 0; life < mLives.size(); ++life) {
        sendEvents(run, life);
        const bool lost = mLives[life].loss.has_value();
        if (lost && awaitPlace(run, {life, mLives[life].end})) loseClients(run, life);
    }
}

void Replay::sendEvents(Run& run, size_t life) {
    for (const size_t place : mLives[life].events) {
        if (!awaitPlace(run, {life, place})) return;
        const recording::Record record = mTimeline.record(mTimeline.entries()[place]);
        const Decoded decoded = recording::decode(record);
        const Event event = {recording::notifyOf(record), recording::eventFields(decoded),
                             commandOf(decoded)};
        if (event.notification == nullptr) continue;
        run.service.change([&](World& world) {
            if (decoded.name == "attach") world.attach(*decoded.accessory);
            if (decoded.name == "detach") world.detach(*decoded.accessory);
        });
        run.push(event, std::nullopt);
        const AutoMutex lock(mLock);
        ++mEvents;
    }
}

// To the clients it is the same whether the service has died or has closed their connections.
void Replay::loseClients(Run& run, size_t life) {
    std::set<pid_t> processes;
    const auto connections = run.service.connections();
    mListenedBefore = static_cast<ptrdiff_t>(run.service.listened());
    {
        const AutoMutex lock(mLock);
        // A client that is quick meets the next life as soon as it has been dropped.
        mServed = life + 1;
        for (const auto& connection : connections)
            mLostConnection = std::max(mLostConnection, connection.number);
        // No request of this life can come any more.
        mPending.erase(mPending.begin(), mPending.lower_bound({mServed, 0}));
    }
    for (const auto& connection : connections)
        processes.insert(connection.process);
    for (const pid_t process : processes)
        run.service.drop(process);
}

Json Replay::summary() {
    const AutoMutex lock(mLock);
    return {{"asked", mAsked},           {"again", mAgain},   {"otherwise", mOtherwise},
            {"missing", mUnused.size()}, {"events", mEvents}, {"early", mEarly}};
}

}  // namespace emulator

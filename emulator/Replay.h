#pragma once

#include <utils/Mutex.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Operations.h"
#include "emulator/World.h"
#include "recording/Comparison.h"
#include "recording/Lives.h"
#include "recording/Speed.h"
#include "recording/Timeline.h"

namespace emulator {

class Run;
class Service;

// Plays the service of a recording. Requests are answered on the service's threads; the events are
// sent by play(), on the thread of the commands.
class Replay {
public:
    struct Options {
        std::string file;
        recording::Speed speed;
        // What is not compared besides the time of a touch.
        std::vector<std::string> ignored;
        std::chrono::milliseconds patience{5000};
        bool strict = false;
    };

    // Throws recording::Malformed, also for a recording that cannot be replayed.
    explicit Replay(const Options& options);

    // Where something stands in the recording: in which life of the service, and at which entry. No
    // life waits for what was recorded in a later one.
    using Place = std::pair<size_t, size_t>;

    // The answer to a request.
    struct Answer {
        Reply reply;          // null: there is none
        bool silent = false;  // and the client is not told so, since the service was lost then
        uint32_t delayMs = 0;
        std::optional<Place> end;  // of the recorded answer, when this is the first use of it
    };
    // Takes the recorded answer to an equal request, which came from a connection of the host's:
    // the earliest that has not been used, or else the last. Nothing when none is equal, for which
    // --strict ends the replay. Thread-safe.
    std::optional<Answer> take(const Request& request, accessory::ServiceItem& item,
                               uint32_t connection);
    // The answer has left. Thread-safe.
    void settled(const Answer& answer);

    // Has the world know whatever answered in the recording.
    void prepare(World& world) const;
    // Sends the events, each when what had been answered before it has been and what had been asked
    // before it has come, and ends the connections where the service was lost.
    void play(Run& run);
    // Why --strict ends the emulator with a failure; empty when it does not. `over` says that no
    // further request can come. Thread-safe.
    std::string fault(bool over);

    // What has come of it, by name.
    Json summary();

private:
    using Clock = std::chrono::steady_clock;
    struct Equal {
        std::vector<Place> places;
        size_t used = 0;
        std::set<size_t> late;  // the lives that were asked this after their loss
    };

    std::string keyOf(const Request& request, accessory::ServiceItem& item) const;
    void sendEvents(Run& run, size_t life);
    void loseClients(Run& run, size_t life);
    bool awaitPlace(Run& run, const Place& place);
    bool allBefore(Run& run, const Place& place);
    // How many listeners' connections the recording has before `place` that have not come.
    ptrdiff_t channelsLeft(Run& run, const Place& place) const;
    std::optional<Answer> lateAnswer(const Equal& equal) REQUIRES(mLock);
    std::string missing() REQUIRES(mLock);

    const Options mOptions;
    const recording::Timeline mTimeline;
    const recording::Comparison mComparison;
    const std::vector<recording::Life> mLives;
    // How many clients had begun to listen when the present life began to be served. Less than
    // that where some were waited for in vain. Of the thread of play().
    ptrdiff_t mListenedBefore = 0;

    android::Mutex mLock;
    // The recorded requests by what they ask, in the order of the file.
    std::map<std::string, Equal> mRequests GUARDED_BY(mLock);
    std::map<Place, std::string> mUnused GUARDED_BY(mLock);
    // The life that the clients meet, and the last connection of those before it.
    size_t mServed GUARDED_BY(mLock) = 0;
    uint32_t mLostConnection GUARDED_BY(mLock) = 0;
    // The requests that have not come, and the answers that have not left.
    std::set<Place> mPending GUARDED_BY(mLock);
    // The last entry that has happened, and when. Nothing before the first.
    size_t mLast GUARDED_BY(mLock) = 0;
    std::optional<Clock::time_point> mLastTime GUARDED_BY(mLock);
    std::string mFault GUARDED_BY(mLock);
    size_t mAsked GUARDED_BY(mLock) = 0;
    size_t mAgain GUARDED_BY(mLock) = 0;
    size_t mOtherwise GUARDED_BY(mLock) = 0;
    size_t mEvents GUARDED_BY(mLock) = 0;
    size_t mEarly GUARDED_BY(mLock) = 0;
};

}  // namespace emulator

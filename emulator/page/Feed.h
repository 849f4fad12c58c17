#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "emulator/Audience.h"

namespace emulator::page {

struct RequestCame {
    Request request;
    accessory::sp<accessory::ServiceItem> item;
    Asker asker;
    Reply reply;
    Rule rule;
};

// The answer to the request with this number has left.
struct AnswerLeft {
    uint64_t about;
    std::chrono::microseconds took;
};

struct EventSent {
    Event event;
};

// One thing that has happened: a request, an answer or an event.
struct Happening {
    uint64_t number;                 // counted from 1
    std::chrono::microseconds time;  // since 1970
    std::variant<RequestCame, AnswerLeft, EventSent> what;
};

// What has happened lately. Streams read it at their own speed, and reporting never waits for them:
// when the feed is full, the oldest entry is forgotten, and a stream that had not read it learns
// how many it missed. The last entry of each kind and accessory is kept apart, so that a stream
// that has missed many, or comes late, still learns the present state.
//
// Threads: thread-safe.
class Feed : public Audience {
public:
    static constexpr size_t kMaxKept = 50'000;
    static constexpr size_t kMaxBytes = 32u << 20;  // of the texts and blocks of requests
    static constexpr size_t kMaxLatest = 4'000;
    static constexpr size_t kMaxLatestBytes = 4'096;  // of one request
    static constexpr size_t kBatch = 256;

    using Entry = std::shared_ptr<const Happening>;

    struct Batch {
        std::vector<Entry> entries;
        // How many entries were forgotten before they were read.
        uint64_t missed = 0;
        // The number of the last entry read.
        uint64_t number = 0;
    };

    uint64_t request(const Request& request, const accessory::sp<accessory::ServiceItem>& item,
                     const Asker& asker, const Reply& reply, const Rule& rule) override;
    void settled(uint64_t number) override;
    void event(const Event& event) override;

    // Returns the entries after this number, at most one batch of them.
    Batch after(uint64_t number);
    // Sleeps for this time. Returns false when the feed is closed, which also ends the sleep.
    bool sleep(std::chrono::milliseconds time);
    void close();

private:
    // The accessory, the kind of entry, and a number that tells entries of this kind apart, such as
    // that of a feature.
    using Topic = std::tuple<uint32_t, const void*, int32_t>;

    uint64_t put(decltype(Happening::what) what);
    uint64_t oldest() const REQUIRES(mLock) { return mNumber - mKept.size() + 1; }
    void remember(const Entry& entry) REQUIRES(mLock);

    android::Mutex mLock;
    android::Condition mClosing;
    bool mClosed GUARDED_BY(mLock) = false;
    uint64_t mNumber GUARDED_BY(mLock) = 0;
    std::deque<Entry> mKept GUARDED_BY(mLock);
    size_t mBytes GUARDED_BY(mLock) = 0;
    std::map<Topic, Entry> mLatest GUARDED_BY(mLock);
};

}  // namespace emulator::page

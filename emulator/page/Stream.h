#pragma once

#include <httplib.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "emulator/Service.h"
#include "emulator/page/Counted.h"
#include "emulator/page/Feed.h"

namespace emulator::page {

// Returns a server-sent event.
std::string message(const char* event, const Json& data);

// The stream of events to one page. It is used on the thread of its connection only.
class Stream {
public:
    // The stream begins with the entry after the one with this number.
    Stream(Feed& feed, Service& service, std::shared_ptr<const Counted> place, uint64_t from)
        : mFeed(feed), mService(service), mPlace(std::move(place)), mNumber(from) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Sends `hello` in the first call, and what is new in every call. Returns false when the page
    // has gone away.
    bool tell(httplib::DataSink& sink, const Json& hello);

private:
    void addNews(std::string& text);

    Feed& mFeed;
    Service& mService;
    const std::shared_ptr<const Counted> mPlace;
    uint64_t mNumber;
    bool mBegun = false;
    bool mMore = false;
    std::string mSituation;
    std::chrono::steady_clock::time_point mNextBeat;
};

}  // namespace emulator::page

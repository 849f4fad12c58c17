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

// A server-sent event.
std::string message(const char* event, const Json& data);

// What one page has been told. On the thread of its connection.
class Stream {
public:
    // Begins behind the happening of this number.
    Stream(Feed& feed, Service& service, std::shared_ptr<const Counted> place, uint64_t from)
        : mFeed(feed), mService(service), mPlace(std::move(place)), mNumber(from) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Begins the stream with `hello`, and then tells what is new. False when the page has gone.
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

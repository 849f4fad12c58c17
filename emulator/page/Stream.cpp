#include "emulator/page/Stream.h"

#include "emulator/page/Rendering.h"

namespace emulator::page {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Everything that happens within this time is sent together.
constexpr milliseconds kGather(40);
// How often a page hears that the service lives.
constexpr milliseconds kBeat(1000);

}  // namespace

std::string message(const char* event, const Json& data) {
    return std::string("event: ") + event + "\ndata: " + tool::dump(data) + "\n\n";
}

bool Stream::tell(httplib::DataSink& sink, const Json& hello) {
    std::string text;
    if (mBegun) {
        if (!mMore && !mFeed.sleep(kGather)) {
            sink.done();
            return true;
        }
    } else {
        text = message("hello", hello);
        mBegun = true;
    }
    addNews(text);
    const std::string now = message("situation", situation(mService));
    if (now != mSituation) text += mSituation = now;
    if (steady_clock::now() >= mNextBeat) {
        mNextBeat = steady_clock::now() + kBeat;
        text += message("heartbeat", mNumber);
    }
    return text.empty() || sink.write(text.data(), text.size());
}

void Stream::addNews(std::string& text) {
    const Feed::Batch batch = mFeed.after(mNumber);
    mMore = batch.entries.size() >= Feed::kBatch;
    mNumber = batch.number;
    if (batch.entries.empty() && batch.missed == 0) return;
    Json news = Json::array();
    for (const Feed::Entry& entry : batch.entries)
        news.push_back(shown(*entry));
    text += message("news", {{"n", mNumber}, {"missed", batch.missed}, {"news", news}});
}

}  // namespace emulator::page

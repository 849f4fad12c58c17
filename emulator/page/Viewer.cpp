#include "emulator/page/Viewer.h"

#include <sys/resource.h>
#include <unistd.h>

#include <new>

#include "emulator/page/Rendering.h"
#include "recording/Reader.h"
#include "tool/Lines.h"

namespace emulator::page {

using android::AutoMutex;
using recording::Malformed;
using recording::Timeline;

namespace {

constexpr size_t kRowsOfLine = 256;
// How many lines may wait until the page takes them.
constexpr size_t kMaxLines = 4;
// The lowest priority that there is.
constexpr int kNiceness = 19;

}  // namespace

Viewer::Viewer(std::unique_ptr<std::stringstream> file)
    : mFile(std::move(file)), mThread([this] { run(); }) {}

Viewer::~Viewer() {
    {
        AutoMutex lock(mLock);
        mUnwanted = true;
        mChanged.broadcast();
    }
    mThread.join();
}

std::string Viewer::next() {
    AutoMutex lock(mLock);
    while (mLines.empty() && !mDone)
        mChanged.wait(mLock);
    if (mLines.empty()) return {};
    std::string line = std::move(mLines.front());
    mLines.pop_front();
    mChanged.broadcast();
    return line;
}

bool Viewer::put(const recording::Json& line) {
    std::string text = tool::dump(line) + "\n";
    AutoMutex lock(mLock);
    while (mLines.size() >= kMaxLines && !mUnwanted)
        mChanged.wait(mLock);
    if (mUnwanted) return false;
    mLines.push_back(std::move(text));
    mChanged.broadcast();
    return true;
}

void Viewer::run() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNiceness);
    try {
        const Timeline timeline(*mFile);
        mFile.reset();
        tell(timeline);
    } catch (const Malformed& error) {
        put({{"error",
              std::string("This file is no recording that can be read: ") + error.what()}});
    } catch (const std::bad_alloc&) {
        put({{"error", "There is too little memory to show this recording."}});
    }
    AutoMutex lock(mLock);
    mDone = true;
    mChanged.broadcast();
}

void Viewer::tell(const Timeline& timeline) {
    Json rows = Json::array();
    size_t count = 0;
    uint32_t process = 0;
    for (const Timeline::Entry& entry : timeline.entries()) {
        recording::Beginning beginning;
        if (readBeginning(timeline.record(entry), beginning)) process = beginning.process;
        Json row = shown(timeline, entry, process);
        if (row.is_null() || ++count > kMaxRows) continue;
        rows.push_back(std::move(row));
        if (rows.size() < kRowsOfLine) continue;
        if (!put(rows)) return;
        rows.clear();
    }
    if (!rows.empty() && !put(rows)) return;
    put({{"rows", count}, {"torn", timeline.torn()}, {"missing", timeline.missing()}});
}

}  // namespace emulator::page

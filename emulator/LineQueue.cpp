#include "emulator/LineQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace emulator {
namespace {

using android::AutoMutex;

// The bytes of lines that are written at once.
constexpr size_t kBatch = 64u << 10;

// How long a caller waits for a reader that takes nothing, and how often it looks.
constexpr nsecs_t kPatience = 1'000'000'000;
constexpr nsecs_t kSlice = 50'000'000;

}  // namespace

LineQueue::LineQueue(tool::OutputStream& output, Writes writes, Dropped dropped)
    : mOutput(output),
      mWrites(writes),
      mDropped(std::move(dropped)),
      mHurry(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mThread([this] { run(); }) {
    mOutput.hurryWhenReadable(mHurry);
}

LineQueue::~LineQueue() {
    finish();
    mOutput.hurryWhenReadable(-1);
    close(mHurry);
}

void LineQueue::put(std::string line) {
    line += '\n';
    AutoMutex lock(mLock);
    if (mWrites == Writes::kNowIfTaken && mLines.empty() && mUnderWay == 0 && !mEnding) {
        line.erase(0, mOutput.writeNow(line));
        if (line.empty()) return;
    }
    // One line alone may be longer than all that may wait.
    if (mEnding || (!mLines.empty() && mBytes + line.size() > kLimit)) {
        ++mLost;
        return;
    }
    if (mLost > 0) {
        mLines.push_back(mDropped(std::exchange(mLost, 0)) + "\n");
        mBytes += mLines.back().size();
    }
    mBytes += line.size();
    mLines.push_back(std::move(line));
    if (mUnderWay == 0) mChanged.broadcast();
}

void LineQueue::waitForRoom(const std::function<bool()>& over) {
    AutoMutex lock(mLock);
    waitUntil([&]() NO_THREAD_SAFETY_ANALYSIS { return mBytes <= kLimit / 2 || over(); });
}

void LineQueue::flush() {
    AutoMutex lock(mLock);
    waitUntil([this]() NO_THREAD_SAFETY_ANALYSIS { return mLines.empty() && mUnderWay == 0; });
}

void LineQueue::waitUntil(const std::function<bool()>& done) {
    size_t rounds = mRounds;
    nsecs_t until = systemTime() + kPatience;
    while (!done() && !mOutput.failed()) {
        if (rounds != mRounds) until = systemTime() + kPatience;
        rounds = mRounds;
        if (systemTime() > until) return;
        mChanged.waitRelative(mLock, kSlice);
    }
}

size_t LineQueue::finish() {
    if (!mThread.joinable()) return 0;
    {
        AutoMutex lock(mLock);
        if (mLost > 0) mLines.push_back(mDropped(std::exchange(mLost, 0)) + "\n");
        mEnding = true;
        mChanged.broadcast();
    }
    eventfd_write(mHurry, 1);
    mThread.join();
    AutoMutex lock(mLock);
    return mLines.size() + mUnderWay;
}

std::string LineQueue::takeSome() {
    AutoMutex lock(mLock);
    mUnderWay = 0;
    ++mRounds;
    mChanged.broadcast();
    while (mLines.empty()) {
        if (mEnding) return {};
        mChanged.wait(mLock);
    }
    std::string text;
    while (!mLines.empty() && (text.empty() || text.size() + mLines.front().size() <= kBatch)) {
        text += mLines.front();
        mLines.pop_front();
        ++mUnderWay;
    }
    mBytes -= text.size();
    return text;
}

void LineQueue::run() {
    for (std::string text = takeSome(); !text.empty(); text = takeSome()) {
        if (!mOutput.write(text)) return;
    }
}

}  // namespace emulator

#include "recorder/Recorder.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <memory>
#include <system_error>
#include <thread>

#include "recorder/Content.h"
#include "recorder/Log.h"

namespace recorder {

using android::AutoMutex;
using recording::FrameHeader;
using recording::Record;
using recording::RecordHeader;

namespace {

// How long a record waits until it is written. A crash loses the records of this time.
constexpr nsecs_t kInterval = 100'000'000;
// How long the process waits for the disk when it ends.
constexpr nsecs_t kPatience = 2'000'000'000;
// How many bytes are written with one system call.
constexpr size_t kPiece = size_t{1} << 20;

Recorder* theRecorder = nullptr;

uint64_t nanoseconds(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
}

uint64_t now() {
    return nanoseconds(CLOCK_MONOTONIC);
}

// Each thread asks the system for its number once.
uint32_t threadNumber() {
    static thread_local uint32_t number = 0;
    if (number == 0) number = static_cast<uint32_t>(gettid());
    return number;
}

__attribute__((destructor)) void finishAtExit() {
    if (theRecorder != nullptr) theRecorder->finish();
}

}  // namespace

Recorder* Recorder::instance() {
    static Recorder* const kInstance = []() -> Recorder* {
        const auto settings = readSettings();
        if (!settings) return nullptr;
        std::unique_ptr<Recorder> recorder(new Recorder(*settings));
        return recorder->start() ? recorder.release() : nullptr;
    }();
    return kInstance;
}

bool Recorder::start() {
    if (!mBuffer.usable()) {
        logError("no recording: there is no memory for it");
        return false;
    }
    if (!mFile.open(mSettings.path)) return false;
    begin();
    // All signals are blocked in the thread that writes. The application's handlers then never run
    // on it, and a file that reaches the limit of its size gives an error instead of SIGXFSZ.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = true;
    mRecording = true;
    try {
        std::thread([this] { run(); }).detach();
    } catch (const std::system_error& error) {
        logError("no recording: cannot start a thread: %s", error.what());
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (!started) return false;
    theRecorder = this;
    pthread_atfork(nullptr, nullptr, [] {
        theRecorder->mForked = theRecorder->mRecording.exchange(false);
        theRecorder->mFile.forget();
    });
    return true;
}

// Adding.

bool Recorder::recordingElsewhere() {
    if (mForked.exchange(false)) logError("a forked process does not record");
    return false;
}

uint64_t Recorder::put(FrameKind kind, const Place& place, int32_t type, const uint8_t* content,
                       size_t size, uint64_t since) {
    if (!mRecording.load(std::memory_order_relaxed)) return since;
    RecordHeader header;
    header.thread = threadNumber();
    header.binding = place.binding;
    header.listener = place.listener;
    header.monotonic = now();
    if (since != 0) header.duration = header.monotonic - since;
    FrameHeader frame;
    frame.kind = kind;
    frame.type = type;
    frame.sequence = place.sequence;
    frame.length = static_cast<uint32_t>(size);
    mBuffer.add(header, frame, content);
    return header.monotonic;
}

uint64_t Recorder::add(FrameKind kind, const Place& place, uint64_t since) {
    return put(kind, place, 0, nullptr, 0, since);
}

uint64_t Recorder::add(FrameKind kind, const Place& place, accessory::SerializationBase& message,
                       int32_t type, uint64_t since) {
    Borrowed borrowed;
    const Content* content = borrowed.of(message);
    if (content == nullptr) {
        mBuffer.miss();
        return now();
    }
    return put(kind, place, type, content->data(), content->size(), since);
}

uint64_t Recorder::addStatus(const Place& place, int32_t status) {
    uint8_t content[sizeof(status)];
    std::memcpy(content, &status, sizeof(status));
    return put(FrameKind::kStatus, place, accessory::ServiceStatusNotify::kType, content,
               sizeof(content), 0);
}

// Writing.

void Recorder::run() {
    // The head of the file need not wait for what follows.
    bool good = flush();
    for (bool more = true; good && more;) {
        {
            AutoMutex lock(mMutex);
            if (!mFinish) mChanged.waitRelative(mMutex, kInterval);
            more = !mFinish;
        }
        good = writeAll();
    }
    mRecording = false;
    AutoMutex lock(mMutex);
    mFinished = true;
    mChanged.broadcast();
}

void Recorder::finish() {
    if (!mRecording.exchange(false)) return;
    const uint64_t end = now() + kPatience;
    AutoMutex lock(mMutex);
    mFinish = true;
    mChanged.broadcast();
    while (!mFinished && now() < end)
        mChanged.waitRelative(mMutex, static_cast<nsecs_t>(end - now()));
}

bool Recorder::writeAll() {
    mWallOffset = nanoseconds(CLOCK_REALTIME) - now();
    bool good = true;
    const uint64_t missing = mBuffer.collect(
        [&](const RecordHeader& header, const FrameHeader& frame, const uint8_t* content) {
            Record record;
            record.header = header;
            record.frame = frame;
            record.wall = header.monotonic + mWallOffset;
            record.content = content;
            record.size = frame.length;
            good = good && writeOne(record);
        });
    if (good && missing > 0) good = writeGap(missing);
    return good && flush();
}

bool Recorder::writeGap(uint64_t missing) {
    uint8_t content[sizeof(missing)];
    std::memcpy(content, &missing, sizeof(missing));
    Record record;
    record.header.monotonic = now();
    record.wall = record.header.monotonic + mWallOffset;
    record.frame.kind = FrameKind::kGap;
    record.frame.length = sizeof(content);
    record.content = content;
    record.size = sizeof(content);
    return writeOne(record);
}

bool Recorder::writeOne(Record& record) {
    // Everything in a packet beside its content takes less than this.
    constexpr uint64_t kAround = 256;
    const uint64_t size = mFile.size() + mWriter.bytes().size() + record.size + kAround;
    if (size > mSettings.limit / 2 && mHasRecords && !startAgain()) return false;
    keep(record);
    mRedaction.apply(record);
    mWriter.add(record);
    mHasRecords = true;
    return mWriter.bytes().size() < kPiece || flush();
}

bool Recorder::startAgain() {
    if (!flush() || !mFile.startAgain()) return false;
    ++mFileNumber;
    begin();
    return true;
}

void Recorder::begin() {
    mWallOffset = nanoseconds(CLOCK_REALTIME) - now();
    mWriter.begin({static_cast<uint32_t>(getpid()), mFileNumber, mSettings.leftOut,
                   program_invocation_short_name},
                  now() + mWallOffset, now());
    for (const auto& [binding, records] : mLive) {
        for (const auto& [listener, record] : records)
            mWriter.add(record);
    }
    mHasRecords = false;
}

void Recorder::keep(const Record& record) {
    const RecordHeader& header = record.header;
    switch (record.frame.kind) {
        case FrameKind::kBound:
        case FrameKind::kListenerSet:
            mLive[header.binding][header.listener] = record;
            break;
        case FrameKind::kListenerRemoved:
            mLive[header.binding].erase(header.listener);
            break;
        case FrameKind::kUnbound:
            mLive.erase(header.binding);
            break;
        default:
            break;
    }
}

bool Recorder::flush() {
    const bool good = mWriter.bytes().empty() || mFile.write(mWriter.bytes());
    mWriter.bytes().clear();
    return good;
}

}  // namespace recorder

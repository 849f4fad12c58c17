#pragma once

#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstdint>
#include <map>

#include "protocol/ServiceFramework.h"
#include "recorder/Buffer.h"
#include "recorder/File.h"
#include "recorder/Redaction.h"
#include "recorder/Settings.h"
#include "recording/Writer.h"

namespace recorder {

using recording::FrameKind;

// The recording of this process. There is one, which is never destroyed once it has begun, since
// threads of the application may use it until the process has ended. Thread-safe.
class Recorder {
public:
    // Begins the recording with the first call. Null without one.
    static Recorder* instance();

    bool recording() { return mRecording.load(std::memory_order_relaxed) || recordingElsewhere(); }

    // What identifies a record beside its kind.
    struct Place {
        uint32_t binding = 0;
        uint32_t listener = 0;
        uint32_t sequence = 0;
    };
    uint32_t newBinding() { return ++mBindings; }
    uint32_t newListener() { return ++mListeners; }
    uint32_t newSequence() { return ++mSequences; }

    // Records what has no content. `since` is when that began whose end this is, and 0 otherwise.
    // All of these answer the time, in nanoseconds by the monotonic clock.
    uint64_t add(FrameKind kind, const Place& place, uint64_t since = 0);
    // Records a message.
    uint64_t add(FrameKind kind, const Place& place, accessory::SerializationBase& message,
                 int32_t type, uint64_t since = 0);
    uint64_t addStatus(const Place& place, int32_t status);

    // Writes what there is and ends the recording: when the process ends in the ordinary way.
    void finish();

private:
    explicit Recorder(const Settings& settings) : mSettings(settings) {}
    bool start();
    void run();
    // False when the recording has ended.
    bool writeAll();
    bool writeOne(recording::Record& record);
    bool flush();
    bool startAgain();
    bool writeGap(uint64_t missing);
    void begin();
    void keep(const recording::Record& record);
    uint64_t put(FrameKind kind, const Place& place, int32_t type, const uint8_t* content,
                 size_t size, uint64_t since);
    // Always false; says so once in a forked child.
    bool recordingElsewhere();

    const Settings mSettings;
    Redaction mRedaction{mSettings.leftOut};
    Buffer mBuffer;
    std::atomic<bool> mRecording{false};
    std::atomic<bool> mForked{false};
    std::atomic<uint32_t> mBindings{0};
    std::atomic<uint32_t> mListeners{0};
    std::atomic<uint32_t> mSequences{0};

    android::Mutex mMutex;
    android::Condition mChanged;
    bool mFinish GUARDED_BY(mMutex) = false;
    bool mFinished GUARDED_BY(mMutex) = false;

    // The writer's thread only, once it runs.
    File mFile;
    recording::Writer mWriter;
    uint32_t mFileNumber = 0;
    uint64_t mWallOffset = 0;  // what makes wall time of monotonic time
    bool mHasRecords = false;  // besides those that begin a file
    // What a new file has to repeat, by binding and listener; 0 is the binding itself.
    std::map<uint32_t, std::map<uint32_t, recording::Record>> mLive;
};

}  // namespace recorder

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

// The recording of this process. There is at most one, and it is never destroyed, since threads of
// the application may use it until the process has ended. Thread-safe.
class Recorder {
public:
    // The first call begins the recording. Null when there is none.
    static Recorder* instance();

    bool recording() { return mRecording.load(std::memory_order_relaxed) || recordingElsewhere(); }

    // What a record belongs to.
    struct Place {
        uint32_t binding = 0;
        uint32_t listener = 0;
        uint32_t sequence = 0;
    };
    uint32_t newBinding() { return ++mBindings; }
    uint32_t newListener() { return ++mListeners; }
    uint32_t newSequence() { return ++mSequences; }

    // Records something that has no content. When it is the end of a request or of a callback,
    // `since` is the time of the beginning, otherwise 0.
    // All of these operations return the present time, in nanoseconds of the monotonic clock.
    uint64_t add(FrameKind kind, const Place& place, uint64_t since = 0);
    // Records a message.
    uint64_t add(FrameKind kind, const Place& place, accessory::SerializationBase& message,
                 int32_t type, uint64_t since = 0);
    uint64_t addStatus(const Place& place, int32_t status);

    // Writes what the buffer holds and ends the recording. Called when the process ends by exit().
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
    // Always false. The first call in a forked child logs that it does not record.
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
    uint64_t mWallOffset = 0;  // wall time minus monotonic time
    bool mHasRecords = false;  // whether there are others than those that begin a file
    // The records that a new file has to repeat, by binding and listener. Listener 0 stands for the
    // binding itself.
    std::map<uint32_t, std::map<uint32_t, recording::Record>> mLive;
};

}  // namespace recorder

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "recording/Record.h"

namespace recorder {

// Takes records from any thread until the writer's thread collects them. Adding one is a copy: it
// takes no lock and makes no system call, so that no thread of the application ever waits for
// another or for the disk. The buffer has two halves: the writer's thread empties one of them while
// the other is being filled.
class Buffer {
public:
    static constexpr size_t kHalf = size_t{4} << 20;

    Buffer();
    ~Buffer();
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    // False when there is no memory for the buffer.
    bool usable() const { return mHalves[0] != nullptr; }

    // Thread-safe. A record that does not fit is dropped and counted.
    void add(const recording::RecordHeader& header, const recording::FrameHeader& frame,
             const uint8_t* content) {
        const size_t size = sizeof(Entry) + padded(frame.length);
        uint64_t state = mState.load(std::memory_order_relaxed);
        do {
            if (size > kHalf - (state & kUsed)) {
                return miss();
            }
        } while (!mState.compare_exchange_weak(state, state + size, std::memory_order_acq_rel,
                                               std::memory_order_relaxed));
        const size_t half = state >> kHalfBit;
        const Entry entry{header, frame, 0};
        uint8_t* place = mHalves[half] + (state & kUsed);
        std::memcpy(place, &entry, sizeof(entry));
        if (frame.length > 0) std::memcpy(place + sizeof(entry), content, frame.length);
        mFilled[half].fetch_add(size, std::memory_order_release);
    }

    // Counts a record that could not be made. Thread-safe.
    void miss() { mMissing.fetch_add(1, std::memory_order_relaxed); }

    // Calls `take(header, frame, content)` for each record that was added before this call.
    // Returns how many did not fit. The writer's thread only.
    template <typename Take>
    uint64_t collect(Take take) {
        const uint64_t missing = mMissing.exchange(0, std::memory_order_relaxed);
        const uint64_t old = mState.load(std::memory_order_relaxed) >> kHalfBit;
        const uint64_t state = mState.exchange((old ^ 1) << kHalfBit, std::memory_order_acq_rel);
        const size_t used = state & kUsed;
        awaitFilled(old, used);
        for (size_t place = 0; place < used;) {
            Entry entry;
            std::memcpy(&entry, mHalves[old] + place, sizeof(entry));
            take(entry.header, entry.frame, mHalves[old] + place + sizeof(entry));
            place += sizeof(entry) + padded(entry.frame.length);
        }
        mFilled[old].store(0, std::memory_order_relaxed);
        return missing;
    }

private:
    struct Entry {
        recording::RecordHeader header;
        recording::FrameHeader frame;
        uint32_t padding;
    };
    // The top bit of the state says which half is being filled. The other bits are the number of
    // bytes in this half that threads have reserved.
    static constexpr int kHalfBit = 63;
    static constexpr uint64_t kUsed = (uint64_t{1} << kHalfBit) - 1;

    static constexpr size_t padded(size_t size) { return (size + 7) & ~size_t{7}; }
    void awaitFilled(size_t half, size_t used) const;

    uint8_t* mHalves[2] = {nullptr, nullptr};
    alignas(64) std::atomic<uint64_t> mState{0};
    // How many of the reserved bytes of each half have been copied.
    std::atomic<uint64_t> mFilled[2] = {{0}, {0}};
    std::atomic<uint64_t> mMissing{0};
};

}  // namespace recorder

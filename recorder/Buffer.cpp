#include "recorder/Buffer.h"

#include <sys/mman.h>

#include <chrono>
#include <thread>

namespace recorder {

Buffer::Buffer() {
    // The system provides the memory page by page, when it is first used.
    void* memory = mmap(nullptr, 2 * kHalf, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return;
    mHalves[0] = static_cast<uint8_t*>(memory);
    mHalves[1] = mHalves[0] + kHalf;
}

Buffer::~Buffer() {
    if (usable()) munmap(mHalves[0], 2 * kHalf);
}

// A thread that has reserved bytes may be interrupted before it has copied them.
void Buffer::awaitFilled(size_t half, size_t used) const {
    while (mFilled[half].load(std::memory_order_acquire) != used)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
}

}  // namespace recorder

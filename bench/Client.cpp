#include "bench/Client.h"

#include <sched.h>

#include <atomic>
#include <ctime>
#include <thread>

namespace bench {
namespace {

void serveBatches(int control, const std::function<Batch()>& setUp) {
    const Batch batch = setUp();
    ready(control);
    for (;;) {
        size_t calls = 0;
        readAll(control, &calls, sizeof(calls));
        const Sample sample = batch(calls);
        const size_t count = sample.each.size();
        writeAll(control, &sample.mean, sizeof(sample.mean));
        writeAll(control, &count, sizeof(count));
        writeAll(control, sample.each.data(), count * sizeof(uint32_t));
    }
}

}  // namespace

int64_t now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

Client::Client(int processor, const std::function<Batch()>& setUp)
    : mProcess(processor, [&](int control) { serveBatches(control, setUp); }) {
    mProcess.awaitReady();
}

Sample Client::run(size_t calls) const {
    writeAll(mProcess.control(), &calls, sizeof(calls));
    Sample sample;
    size_t count = 0;
    readAll(mProcess.control(), &sample.mean, sizeof(sample.mean));
    readAll(mProcess.control(), &count, sizeof(count));
    sample.each.resize(count);
    readAll(mProcess.control(), sample.each.data(), count * sizeof(uint32_t));
    return sample;
}

Sample timeThreads(size_t calls, size_t threads, const std::function<void(size_t thread)>& call) {
    std::atomic<bool> go{false};
    std::vector<std::thread> running;
    for (size_t thread = 0; thread < threads; ++thread) {
        running.emplace_back([&, thread] {
            while (!go)
                sched_yield();
            for (size_t i = 0; i < calls / threads; ++i)
                call(thread);
        });
    }
    const int64_t begin = now();
    go = true;
    for (std::thread& thread : running)
        thread.join();
    Sample sample;
    sample.mean =
        static_cast<double>(now() - begin) / static_cast<double>(calls / threads * threads);
    return sample;
}

}  // namespace bench

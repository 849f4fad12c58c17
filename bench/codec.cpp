#include <benchmark/benchmark.h>

#include "protocol/ManagerMessages.h"
#include "standin/ReadContent.h"
#include "standin/WriteContent.h"

// Measures how long it takes to write the manager's command of five fields and to read it again.

namespace {

using accessory::DeserializationContent;
using accessory::MVSItemManagerCommon;
using accessory::SerializationContent;
using accessory::standin::ReadContent;
using accessory::standin::WriteContent;
using android::sp;

// The contents, which a connection keeps.
struct Contents {
    sp<WriteContent> bytes = new WriteContent;
    sp<ReadContent> view = new ReadContent;
    sp<SerializationContent> out = bytes;
    sp<DeserializationContent> in = view;

    void copy(MVSItemManagerCommon& from, MVSItemManagerCommon& to) {
        bytes->clear();
        from.serialization(out);
        view->reset(bytes->frame() + accessory::kHeaderSize, bytes->size());
        to.deserialization(in);
        benchmark::ClobberMemory();
    }
};

void reused(benchmark::State& state) {
    Contents contents;
    const sp<MVSItemManagerCommon> from = new MVSItemManagerCommon(1);
    const sp<MVSItemManagerCommon> to = new MVSItemManagerCommon;
    for (auto _ : state)
        contents.copy(*from, *to);
    if (to->command != 1) state.SkipWithError("the command did not arrive");
}
BENCHMARK(reused);

// Each exchange makes new messages, as a request does, and uses the connection's contents again.
void fresh(benchmark::State& state) {
    Contents contents;
    int32_t arrived = 0;
    for (auto _ : state) {
        const sp<MVSItemManagerCommon> from = new MVSItemManagerCommon(1);
        const sp<MVSItemManagerCommon> to = new MVSItemManagerCommon;
        contents.copy(*from, *to);
        arrived = to->command;
    }
    if (arrived != 1) state.SkipWithError("the command did not arrive");
}
BENCHMARK(fresh);

}  // namespace

BENCHMARK_MAIN();

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/Measure.h"
#include "bench/Subjects.h"

// Measures what the recorder adds to a key event when it is only loaded, and when it records.

namespace bench {
namespace {

using nlohmann::ordered_json;

struct Variant {
    const char* name;
    std::string environment;
    // Processor time for each call: that of the calling thread, and that of all threads.
    std::vector<double> thread;
    std::vector<double> process;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

ordered_json measureRecording(const Setting& setting) {
    const std::string place = setting.newFolder();
    const std::unique_ptr<Process> service = startService(setting.oneCore.service, place);
    useFolder(place);
    const std::string loaded = std::string("LD_PRELOAD=") + BENCH_RECORDER;
    const std::string recording = "ZRMIRVO_RECORDING=" + place + "/recording";
    Variant variants[] = {
        {"without the recorder", "", {}, {}},
        {"without, as a control", "", {}, {}},
        {"loaded, without a file", loaded, {}, {}},
        {"recording", loaded + " " + recording, {}, {}},
    };
    // Processor time is measured, because the difference is small compared with the time that a
    // call waits for the service. Processes that do the same work differ as long as they live, so
    // there are many of them.
    const int rounds = setting.quick ? 10 : 60;
    const std::string pinned = " taskset -c " + std::to_string(setting.oneCore.client) + " ";
    for (int round = 0; round < rounds; ++round) {
        for (Variant& variant : variants) {
            const std::string command = variant.environment + pinned;
            const std::string output = outputOf(command + role(setting, "sendKeyEvent", 20000));
            variant.thread.push_back(numberIn(output, "thread: ([0-9.]+) ns"));
            variant.process.push_back(numberIn(output, "process: ([0-9.]+) ns"));
        }
    }
    const double calls =
        systemCallsPerCall(setting, "sendKeyEvent", "-E " + loaded + " -E " + recording);

    const double thread = median(variants[0].thread);
    const double process = median(variants[0].process);
    printf("\nProcessor time of a key event, median of %d processes\n%28s %19s %19s\n", rounds, "",
           "calling thread", "process");
    for (const Variant& variant : variants) {
        printf("%-28s %7.0f ns %+6.0f ns %7.0f ns %+6.0f ns\n", variant.name,
               median(variant.thread), median(variant.thread) - thread, median(variant.process),
               median(variant.process) - process);
    }
    printf("recording: %.2f system calls on the calling thread\n", calls);
    return {{"recorder_loaded_ns", median(variants[2].thread) - thread},
            {"recording_ns", median(variants[3].thread) - thread},
            {"recording_process_ns", median(variants[3].process) - process},
            {"recording_syscalls", calls}};
}

}  // namespace bench

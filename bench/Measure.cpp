#include "bench/Measure.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>

#include "bench/Compare.h"
#include "bench/Floor.h"
#include "bench/Subjects.h"

namespace bench {

using nlohmann::ordered_json;

Setting::Setting(const std::string& dataFolder, bool isQuick)
    : folder(dataFolder),
      quick(isQuick),
      programs(std::filesystem::read_symlink("/proc/self/exe").parent_path()) {
    // Not the first one, if there are others: it serves most interrupts.
    const std::vector<int> all = processors();
    oneCore = {all.back(), all.back()};
    twoCores = {all.back(), all.front()};
    hasTwoCores = all.size() > 1;
}

std::string Setting::newFolder() const {
    static int number = 0;
    const std::string path = folder + "/" + std::to_string(number++);
    require(std::filesystem::create_directory(path), "a folder");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

namespace {

std::vector<Candidate> roundTrips(const Setting& setting, Place place) {
    const auto floor = [=] { return floorPair(place, kKeyEvent.request, kKeyEvent.reply); };
    const auto keyEvent = [=, &setting](bool traced) {
        return [=, &setting] { return keyEventPair(place, setting.newFolder(), 1, traced); };
    };
    return {
        {"floor: bare send and recv", floor},
        {"the floor again, as a control", floor},
        {"ServiceClient::request",
         [=, &setting] { return requestPair(place, setting.newFolder(), 0, 1); }},
        {"sendKeyEvent", keyEvent(false)},
        {"sendKeyEvent, every trace line produced", keyEvent(true)},
        {"sendKeyEvent, by mirvo-emulator --quiet",
         [=, &setting] {
             return emulatorPair(place, setting.newFolder(), setting.programs + "/mirvo-emulator");
         }},
#ifdef BENCH_SD_BUS
        {"sd-bus, peer to peer", [=] { return sdBusPair(place); }},
#endif
    };
}

const char* const kKeys[] = {"floor_ns",
                             "control_ratio",
                             "request_ratio",
                             "sendKeyEvent_ratio",
                             "sendKeyEvent_traced_ratio",
                             "sendKeyEvent_emulator_ratio",
                             "sdbus_ratio"};

}  // namespace

ordered_json measureRoundTrips(const Setting& setting) {
    const Plan plan = {setting.quick ? 20u : 40u, 10, setting.quick ? 500u : 2000u};
    const std::vector<Candidate> candidates = roundTrips(setting, setting.oneCore);
    const std::vector<Row> rows = compare(candidates, plan);
    printRows("Round trips, both processes on one core", candidates, rows);
    ordered_json figures;
    figures[kKeys[0]] = rows[0].median;
    for (size_t i = 1; i < rows.size(); ++i)
        figures[kKeys[i]] = rows[i].ratio;
    if (setting.hasTwoCores) {
        const std::vector<Candidate> two = roundTrips(setting, setting.twoCores);
        printRows("For information: each process on a core of its own", two,
                  compare(two, {setting.quick ? 3u : 10u, 5, 200}));
        printf(
            "Most of this time goes into waking the other core, which depends on the machine.\n");
    }
    return figures;
}

ordered_json measureNotifications(const Setting& setting) {
    const Place place = setting.oneCore;
    const std::vector<Candidate> backlog = {
        {"floor: datagrams one way", [=] { return floorOneWay(place, kNotification); }},
        {"the floor again, as a control", [=] { return floorOneWay(place, kNotification); }},
        {"notify to onRunningStateChange",
         [=, &setting] { return notifyPair(place, setting.newFolder()); }},
    };
    const std::vector<Row> rows = compare(backlog, {20, 4, setting.quick ? 10000u : 25000u});
    printRows("Notifications of which many wait, time for each, one core", backlog, rows);
    const std::vector<Candidate> single = {
        {"floor: one datagram", [=] { return floorSingle(place, kNotification); }},
        {"one notification to the callback",
         [=, &setting] { return singleNotifyPair(place, setting.newFolder()); }},
    };
    const std::vector<Row> singleRows = compare(single, {setting.quick ? 10u : 20u, 5, 200});
    printRows("A single notification, one core", single, singleRows);
    return {{"notify_ratio", rows[0].median / rows[2].median},
            {"single_notification_ns", singleRows[1].median}};
}

namespace {

// Measures a curve, which has floor and subject at every point.
ordered_json measureCurve(const Setting& setting, const std::string& title, const char* unit,
                          const std::vector<size_t>& points,
                          const std::function<Pair(size_t)>& floor,
                          const std::function<Pair(size_t)>& subject) {
    printf("\n%s, one core\n%16s %12s %12s %7s  half of the rounds\n", title.c_str(), unit,
           "floor µs", "subject µs", "ratio");
    ordered_json curve = ordered_json::array();
    for (const size_t point : points) {
        const std::vector<Candidate> candidates = {{"floor", [&] { return floor(point); }},
                                                   {"subject", [&] { return subject(point); }}};
        // Every point takes about the same time.
        const double estimate = floor(point).client->run(64).mean;
        const double time = setting.quick ? 2e6 : 1e7;
        const auto calls = std::max<size_t>(static_cast<size_t>(time / estimate), 16);
        const std::vector<Row> rows = compare(candidates, {setting.quick ? 8u : 20u, 5, calls});
        printf("%16zu %12.3f %12.3f %7.3f  %.3f to %.3f\n", point, rows[0].median / 1000,
               rows[1].median / 1000, rows[1].ratio, rows[1].low, rows[1].high);
        fflush(stdout);
        curve.push_back({point, rows[0].median, rows[1].median, rows[1].ratio});
    }
    return curve;
}

}  // namespace

ordered_json measureCurves(const Setting& setting) {
    const Place place = setting.oneCore;
    ordered_json curves;
    curves["threads"] = measureCurve(
        setting, "Threads that use one client at once", "threads", {1, 2, 4, 8},
        [=](size_t threads) {
            return floorPair(place, kCommand.request, kCommand.reply, threads,
                             threads > 1 ? Use::kAtOnce : Use::kInTurn);
        },
        [&](size_t threads) { return requestPair(place, setting.newFolder(), 0, threads); });
    curves["instances"] = measureCurve(
        setting, "sendKeyEvent on one instance after the other", "instances",
        {1, 2, 4, 8, 16, 32, 64},
        [=](size_t count) { return floorPair(place, kKeyEvent.request, kKeyEvent.reply, count); },
        [&](size_t count) { return keyEventPair(place, setting.newFolder(), count, false); });
    curves["bytes"] = measureCurve(
        setting, "Requests and replies with a byte block", "bytes",
        {40, 256, 1024, 4096, 16384, 65000, 262144, 1048576, 4194304},
        [=](size_t bytes) {
            const Sizes sizes = rawData(bytes - kFrame - 16);
            return floorPair(place, sizes.request, sizes.reply);
        },
        [&](size_t bytes) {
            return requestPair(place, setting.newFolder(), bytes - kFrame - 16, 1);
        });
    return {{"curves", curves}};
}

std::string role(const Setting& setting, const std::string& name, size_t count) {
    return setting.programs + "/zrmirvo-bench --role " + name + " --count " + std::to_string(count);
}

double numberIn(const std::string& text, const char* pattern) {
    std::smatch match;
    if (!std::regex_search(text, match, std::regex(pattern))) {
        throw std::runtime_error("no figure in:\n" + text);
    }
    return std::stod(match[1]);
}

double systemCallsPerCall(const Setting& setting, const std::string& name,
                          const std::string& options) {
    constexpr size_t kCount = 500;
    const auto calls = [&](size_t count) {
        const std::string file = setting.folder + "/calls";
        outputOf("strace -c -U calls,name -o " + file + " " + options + " " +
                 role(setting, name, count));
        std::ifstream stream(file);
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        return numberIn(text, "([0-9]+) +total");
    };
    return (calls(2 * kCount) - calls(kCount)) / kCount;
}

namespace {

double codec(const Setting& setting, const std::string& name) {
    const std::string json = outputOf(
        "taskset -c " + std::to_string(setting.oneCore.client) + " " + setting.programs +
        "/zrmirvo-bench-codec --benchmark_format=json --benchmark_repetitions=15 "
        "--benchmark_min_time=0.1 --benchmark_report_aggregates_only=true --benchmark_filter=" +
        name + " 2>&1");
    const ordered_json report = ordered_json::parse(json.substr(json.find('{')));
    for (const ordered_json& entry : report["benchmarks"]) {
        if (entry.value("aggregate_name", "") == "median") return entry["cpu_time"];
    }
    throw std::runtime_error("no median of " + name);
}

double residentKib(const Setting& setting, const char* name, size_t count) {
    return numberIn(outputOf(role(setting, name, count)), "VmRSS:\\s*([0-9]+) kB");
}

}  // namespace

ordered_json measureCosts(const Setting& setting) {
    const std::string place = setting.newFolder();
    const std::unique_ptr<Process> service = startService(setting.twoCores.service, place);
    useFolder(place);
    ordered_json figures;
    figures["syscalls_per_request"] = systemCallsPerCall(setting, "request", "-f");
    figures["syscalls_per_sendKeyEvent"] = systemCallsPerCall(setting, "sendKeyEvent", "-f");
    figures["codec_reused_ns"] = codec(setting, "reused");
    figures["codec_fresh_ns"] = codec(setting, "fresh");
    const std::string allocations = outputOf(setting.programs + "/zrmirvo-bench-allocations");
    printf("\n%s", allocations.c_str());
    figures["allocations_beyond"] = numberIn(allocations, "beyond: (-?[0-9]+)");
    const double empty = residentKib(setting, "empty", 0);
    const double full = residentKib(setting, "instances", 8);
    figures["resident_kib"] = full - empty;
    printf("\nresident: %.0f KiB with one manager and 8 instances, %.0f KiB empty\n", full, empty);
    return figures;
}

ordered_json measureAll(const Setting& setting, const std::string& only) {
    const std::pair<const char*, ordered_json (*)(const Setting&)> sections[] = {
        {"round-trips", measureRoundTrips},
        {"notifications", measureNotifications},
        {"costs", measureCosts},
        {"recording", measureRecording},
        {"curves", measureCurves},
    };
    ordered_json figures;
    for (const auto& [name, measure] : sections) {
        if (only.empty() || only == name) figures.update(measure(setting));
    }
    printf("\n%-28s", "");
    for (const auto& [key, value] : figures.items()) {
        if (value.is_number()) printf("\n%-28s %10.3f", key.c_str(), value.get<double>());
    }
    printf("\n");
    return figures;
}

ordered_json countInstructions(const Setting& setting) {
    constexpr size_t kCalls = 10000;
    const std::string place = setting.newFolder();
    const std::unique_ptr<Process> service = startService(setting.oneCore.service, place);
    useFolder(place);
    setenv("SERVICE_FRAMEWORK_TIMEOUT_MS", "60000", 1);
    ordered_json runs;
    for (const char* name : {"request", "sendKeyEvent", "sendKeyEvent-traced"}) {
        const std::string output = outputOf(
            "setarch --addr-no-randomize valgrind --tool=callgrind --collect-atstart=no "
            "--toggle-collect=measuredCalls --callgrind-out-file=" +
            setting.folder + "/callgrind " + role(setting, name, kCalls) + " 2>&1");
        runs[name] = static_cast<int64_t>(numberIn(output, "Collected : ([0-9]+)"));
    }
    return {{BENCH_PLATFORM, runs}};
}

}  // namespace bench

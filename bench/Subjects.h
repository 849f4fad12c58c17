#pragma once

#include <string>

#include "bench/Floor.h"

// What is measured: the library and the stand-in framework, against a service of their own.

namespace bench {

// How large a request and a reply are on their way, with what belongs to the frame.
struct Sizes {
    size_t request;
    size_t reply;
};
// Of the five-field manager command and of the reply to it, and of a key event.
constexpr size_t kFrame = 20;
constexpr Sizes kCommand = {kFrame + 22, kFrame + 18};
constexpr Sizes kKeyEvent = {kFrame + 26, kFrame + 18};
// Of messages with `bytes` bytes of raw data.
constexpr Sizes rawData(size_t bytes) {
    return {kFrame + 16 + bytes, kFrame + 8 + bytes};
}
constexpr size_t kNotification = kFrame + 30;

// Where a service is found. One folder serves one service at a time.
void useFolder(const std::string& folder);

// A service that accepts everything, and echoes raw data.
std::unique_ptr<Process> startService(int processor, const std::string& folder);

// ServiceClient::request with the manager command, or with raw data where `bytes` is not 0.
Pair frameworkPair(Place place, const std::string& folder, size_t bytes, size_t threads);
// The facade's sendKeyEvent, on each of `instances` instances in turn.
Pair facadePair(Place place, const std::string& folder, size_t instances, bool traced);
// From the service to an application callback: as many as can be, and one alone, with the time that
// it took.
Pair notifyPair(Place place, const std::string& folder);
Pair lonePair(Place place, const std::string& folder);
// The same command with sd-bus, without a daemon between.
Pair sdBusPair(Place place);

// One call, ready to be made in this process: "framework", "facade" or "traced".
std::function<void()> call(const std::string& name);

// What makes an application: the manager and so many instances. Kept until the process ends.
void makeInstances(size_t count);

}  // namespace bench

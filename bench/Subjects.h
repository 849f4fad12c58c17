#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bench/Pair.h"

// The subjects that are measured: the library and the stand-in framework, with a service of their
// own.

namespace bench {

// The sizes of a request and its reply on the socket, including the frame's header.
struct Sizes {
    size_t request;
    size_t reply;
};
constexpr size_t kFrame = 20;
// The manager's command of five fields.
constexpr Sizes kCommand = {kFrame + 22, kFrame + 18};
constexpr Sizes kKeyEvent = {kFrame + 26, kFrame + 18};
// Messages with `bytes` bytes of raw data.
constexpr Sizes rawData(size_t bytes) {
    return {kFrame + 16 + bytes, kFrame + 8 + bytes};
}
constexpr size_t kNotification = kFrame + 30;

// Sets the folder in which this process finds or offers a service. A folder serves one service at a
// time.
void useFolder(const std::string& folder);

// Starts a service that accepts everything and sends raw data back.
std::unique_ptr<Process> startService(int processor, const std::string& folder);

// Calls ServiceClient::request with the manager's command, or with raw data where `bytes` is not 0.
Pair requestPair(Place place, const std::string& folder, size_t bytes, size_t threads);
// Calls the facade's sendKeyEvent on each of `instances` instances in turn.
Pair keyEventPair(Place place, const std::string& folder, size_t instances, bool traced);
// The same on one instance, against the program `emulator`, which prints nothing of it.
Pair emulatorPair(Place place, const std::string& folder, const std::string& emulator);
// Sends notifications from the service to an application's callback: as many as possible, or a
// single one, whose time is measured.
Pair notifyPair(Place place, const std::string& folder);
Pair singleNotifyPair(Place place, const std::string& folder);
// Makes the same call with sd-bus, without a daemon in between.
Pair sdBusPair(Place place);

// One call, ready to be made in this process: "request", "sendKeyEvent" or "sendKeyEvent-traced".
std::function<void()> call(const std::string& name);

// Makes what an application has: the manager and that many instances. They are kept until the
// process ends.
void makeInstances(size_t count);

}  // namespace bench

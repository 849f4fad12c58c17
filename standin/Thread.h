#pragma once

#include <functional>
#include <thread>

namespace accessory::standin {

// Starts a thread that handles no signals that are sent to the process, because their handlers
// expect the application's threads. The signals of its own crashes and of profilers stay open. The
// result is not joinable, with one line in the log, when the thread cannot be started.
std::thread startThread(std::function<void()> body);

}  // namespace accessory::standin

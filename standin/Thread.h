#pragma once

#include <functional>
#include <thread>

namespace accessory::standin {

// Starts a thread that takes none of the signals that are sent to the process: their handlers
// belong to the application's threads. Signals of its own crashes and of profilers stay open. Not
// joinable, with one line in the log, when there is no thread to be had.
std::thread startThread(std::function<void()> body);

}  // namespace accessory::standin

#pragma once

#include <functional>
#include <thread>

namespace accessory::standin {

// Starts a thread that takes none of the process's signals: their handlers belong to the
// application's threads. Not joinable, with one line in the log, when there is no thread to be had.
std::thread startThread(std::function<void()> body);

}  // namespace accessory::standin

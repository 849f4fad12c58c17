#pragma once

#include <memory>

#include "bench/Client.h"
#include "bench/Process.h"

namespace bench {

// The processors on which client and service run.
struct Place {
    int client;
    int service;
};

// A service process and a client process.
struct Pair {
    std::unique_ptr<Process> service;
    std::unique_ptr<Client> client;
};

}  // namespace bench

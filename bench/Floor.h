#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "bench/Process.h"

// The least that the kernel lets two processes exchange messages for: bare send and recv over
// sequenced-packet sockets.

namespace bench {

// A service process and a client process.
struct Pair {
    std::unique_ptr<Process> service;
    std::unique_ptr<Client> client;
};

// Where the two run.
struct Place {
    int client;
    int service;
};

// Messages bounce over so many connections, each of which has a thread of its own in the service.
// The client uses them with as many threads at once, or one after the other.
enum class Use { kAtOnce, kInTurn };
Pair floorPair(Place place, size_t requestSize, size_t replySize, size_t connections = 1,
               Use use = Use::kInTurn);

// The service sends so many datagrams, one by one, and the client receives them.
Pair floorOneWay(Place place, size_t size);

// The service sends one datagram when it is told to; the samples are the times until it is
// received.
Pair floorLone(Place place, size_t size);

}  // namespace bench

#pragma once

#include <cstddef>

#include "bench/Pair.h"

// The floor: the least time in which the kernel lets two processes exchange messages, by bare send
// and recv over sequenced-packet sockets.

namespace bench {

// Messages go back and forth over that many connections, each of which has its own thread in the
// service. The client uses them with as many threads at once, or one after the other.
enum class Use { kAtOnce, kInTurn };
Pair floorPair(Place place, size_t requestSize, size_t replySize, size_t connections = 1,
               Use use = Use::kInTurn);

// The service sends that many datagrams, one by one, and the client receives them.
Pair floorOneWay(Place place, size_t size);

// The service sends one datagram when it is told to. The samples are the times until the client has
// received it.
Pair floorSingle(Place place, size_t size);

}  // namespace bench

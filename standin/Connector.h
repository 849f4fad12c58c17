#pragma once

#include "standin/Deadline.h"
#include "standin/UniqueFd.h"

namespace accessory::standin {

// How a client gets connections to its service.
//
// Threads: thread-safe.
class Connector {
public:
    virtual ~Connector() = default;
    // A new connection to the same running service. Invalid, with one line in the log, when that
    // fails; `lost` is set when it will fail for ever.
    virtual UniqueFd connect(const Deadline& deadline, bool& lost) = 0;
};

}  // namespace accessory::standin

#pragma once

#include <cstdint>
#include <vector>

#include "mirvoctl/Connection.h"
#include "mirvoctl/Output.h"

namespace mirvoctl {

// Prints every callback as it comes, until SIGINT or SIGTERM or until the service is lost, which is
// a Failure. Without ids, those of all accessories.
void monitor(Connection& connection, const Output& output, const std::vector<uint32_t>& ids);

}  // namespace mirvoctl

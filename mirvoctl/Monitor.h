#pragma once

#include "mirvoctl/Command.h"

namespace mirvoctl {

// Prints every event as it comes, until what the options say, until SIGINT or SIGTERM, until the
// reader of standard output has gone, or until the service is lost.
Outcome monitor(Context& context, const MonitorOptions& options);

}  // namespace mirvoctl

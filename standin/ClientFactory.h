#pragma once

#include <memory>

#include "protocol/ServiceFramework.h"
#include "standin/ServiceAddress.h"

namespace accessory::standin {

// A client whose connections come from `connector`, the first one too. For bindings that do not
// begin with a name, such as those of tests that speak for the service themselves. Null, with one
// line in the log, when `info` has no complete protocol or the socket's other end is another
// user's.
sp<ServiceClient> makeClient(const sp<ServiceInfo>& info, std::unique_ptr<Connector> connector,
                             UniqueFd first = {});

}  // namespace accessory::standin

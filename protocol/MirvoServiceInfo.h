#pragma once

#include "protocol/MirvoServiceProtocol.h"

namespace accessory {

// Describes the projection service to the framework. Every binding gets a description of its own,
// and with it a protocol of its own.
class MirvoServiceInfo final : public ServiceInfo {
public:
    const char* servicename() override { return "mirvo.accessory.manager"; }
    sp<ServiceProtocol> protocol() override { return mProtocol; }

private:
    sp<ServiceProtocol> mProtocol = new MirvoServiceProtocol;
};

}  // namespace accessory

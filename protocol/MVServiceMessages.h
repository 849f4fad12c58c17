#pragma once

#include "protocol/ServiceContract.h"

// The family bases of the service's messages and the type codes of the whole protocol. Items,
// notifications and replies number their codes independently; within one of them a code belongs to
// one class, which is how a receiver knows what it holds.

namespace accessory {

class MVServiceItem : public ServiceItem {
public:
    enum Type : int32_t {
        MANAGER_VERSION = 130,
        MANAGER_COMMON = 131,
        ACCESSORY_COMMON = 134,
        ACCESSORY_TOUCH_EVENT = 135,
        ACCESSORY_RAW_DATA = 136,
        ACCESSORY_DISPLAY_CONFIGURATION = 137,
    };
};

class MVServiceNotify : public ServiceNotify {
public:
    enum Type : int32_t {
        MANAGER_COMMON = 130,
        ACCESSORY_COMMON = 133,
        ACCESSORY_RAW_DATA = 134,
    };
};

class MVServiceReply : public ServiceReply {
public:
    enum Type : int32_t {
        COMMON = 129,
        ACCESSORY_IDS = 130,
        RAW_DATA = 131,
        VERSION = 133,
    };
};

}  // namespace accessory

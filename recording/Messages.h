#pragma once

#include "protocol/ServiceContract.h"
#include "recording/Decoder.h"
#include "recording/Record.h"

// Turns records into messages, and messages into what their record would show. Thread-safe.

namespace recording {

// A new message with the recorded content. Null when no class has its code.
accessory::sp<accessory::ServiceItem> itemOf(const Record& record);
accessory::sp<accessory::ServiceReply> replyOf(const Record& record);
accessory::sp<accessory::ServiceNotify> notifyOf(const Record& record);

Decoded decode(accessory::ServiceItem& item);
Decoded decode(accessory::ServiceReply& reply);
Decoded decode(accessory::ServiceNotify& notify);

}  // namespace recording

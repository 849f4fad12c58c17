#pragma once

#include "protocol/ServiceContract.h"
#include "recording/Decoder.h"
#include "recording/Record.h"

// Makes messages of records, and what a record would say of messages. Thread-safe.

namespace recording {

// A new message as it was recorded. Null when no class has its code.
accessory::sp<accessory::ServiceItem> itemOf(const Record& record);
accessory::sp<accessory::ServiceReply> replyOf(const Record& record);
accessory::sp<accessory::ServiceNotify> notifyOf(const Record& record);

Decoded decode(accessory::ServiceReply& reply);
Decoded decode(accessory::ServiceNotify& notify);

}  // namespace recording

#include "protocol/MirvoServiceProtocol.h"

#include "accessory/AutoTrace.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ManagerMessages.h"

namespace accessory {
namespace {

constexpr const char* kLogTag = "MirvoServiceProtocol";

// The first of `Messages` whose code is `type`.
template <typename Family>
sp<Family> make(int /*type*/) {
    return nullptr;
}

template <typename Family, typename Message, typename... Messages>
sp<Family> make(int type) {
    if (type == Message::kType) return new Message;
    return make<Family, Messages...>(type);
}

}  // namespace

sp<ServiceNotify> MirvoServiceNotifyFactory::create(int type) {
    return make<ServiceNotify, MVSNotifyManagerCommon, MVSNotifyAccessoryCommon,
                MVSNotifyAccessoryRawData>(type);
}

sp<ServiceItem> MirvoServiceItemFactory::create(int type) {
    return make<ServiceItem, MVSItemManagerVersion, MVSItemManagerCommon, MVSItemAccessoryCommon,
                MVSItemAccessoryTouchEvent, MVSItemAccessoryRawData,
                MVSItemAccessoryDisplayConfiguration>(type);
}

sp<ServiceReply> MirvoServiceReplyFactory::create(int type) {
    return make<ServiceReply, MVSReplyCommon, MVSReplyAccessoryIds, MVSReplyRawData,
                MVSReplyVersion>(type);
}

MirvoServiceProtocol::MirvoServiceProtocol() {
    AutoTrace trace(kLogTag, __func__, true);
}

MirvoServiceProtocol::~MirvoServiceProtocol() {
    AutoTrace trace(kLogTag, __func__, true);
}

}  // namespace accessory

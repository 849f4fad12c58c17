#pragma once

#include <android/log.h>
#include <utils/RefBase.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "accessory/Probes.h"
#include "accessory/Status.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "protocol/ServiceFramework.h"

// How the proxies talk to the service. Every operation of every proxy is one request, and each of
// its failures is logged here and nowhere else.

namespace accessory {

// A new binding to the service, with a description of its own. A framework may keep no reference to
// the description, so this lives until the step that binds has ended.
struct Binding {
    // The client goes before its description.
    sp<ServiceInfo> info = new MirvoServiceInfo;
    // Null when there is no service.
    const sp<ServiceClient> client = ServiceDiscoverer::self()->bindTo(info);
};

// Reports an argument that an operation cannot take, and returns the operation's status.
inline int illegalParameter(const char* tag) {
    __android_log_print(ANDROID_LOG_ERROR, tag, "illegal parameter!\n");
    return kFailed;
}

template <typename... Pointers>
bool anyNull(const Pointers*... pointers) {
    return (... || (pointers == nullptr));
}

inline void logNull(const char* tag, const char* what) {
    __android_log_print(ANDROID_LOG_ERROR, tag, "%s is null return\n", what);
}

// What the probes around a request tell.
struct Subject {
    int32_t type;
    // 0 where the class has none.
    int32_t command = 0;
    uint32_t accessory = 0;

    template <typename Item>
    explicit Subject(const Item& item) : type(Item::kType) {
        if constexpr (Item::kType != MVServiceItem::MANAGER_VERSION) command = item.command;
        if constexpr (std::is_base_of_v<MVSItemAccessoryBase, Item>) {
            accessory = static_cast<uint32_t>(item.mAccessoryId);
        }
    }
};

template <typename Reply>
int32_t resultOf(const Reply* reply) {
    if (reply == nullptr) return kFailed;
    if constexpr (Reply::kType == MVServiceReply::COMMON ||
                  Reply::kType == MVServiceReply::RAW_DATA) {
        return reply->result;
    }
    return 0;
}

// The reply to `item`; null when none came, or one of another class.
template <typename Reply>
sp<Reply> receive(const char* tag, const sp<ServiceClient>& client, sp<ServiceItem>& item) {
    const sp<ServiceReply> reply = client->request(item);
    if (reply == nullptr) {
        logNull(tag, "reply");
        return nullptr;
    }
    const int32_t type = reply->type();
    if (type != Reply::kType) {
        __android_log_print(ANDROID_LOG_ERROR, tag, "reply  type error target :%s curr: %d \n",
                            Reply::kLogName, type);
        return nullptr;
    }
    return static_cast<Reply*>(reply.get());
}

// Sends `message` over `client`, which is not null, and waits for the reply. Returns null when none
// came, or one of another class.
template <typename Reply, typename Item>
sp<Reply> request(const char* tag, const sp<ServiceClient>& client, sp<Item> message) {
    const Subject subject(*message);
    sp<ServiceItem> item = std::move(message);
    ZRMIRVO_PROBE3(request__start, subject.type, subject.command, subject.accessory);
    sp<Reply> reply = receive<Reply>(tag, client, item);
    ZRMIRVO_PROBE4(request__done, subject.type, subject.command, subject.accessory,
                   resultOf(reply.get()));
    return reply;
}

// Does the same with a client that may be null. `makeItem` runs only when there is one, so it is
// also the place for what an operation does just before it sends. When it returns null, it has said
// why, and nothing is sent.
template <typename Reply, typename MakeItem>
sp<Reply> requestIfBound(const char* tag, const sp<ServiceClient>& client, MakeItem makeItem) {
    if (client == nullptr) {
        logNull(tag, "mServiceClient");
        return nullptr;
    }
    auto item = makeItem();
    return item == nullptr ? nullptr : request<Reply>(tag, client, std::move(item));
}

template <typename Reply>
int status(const sp<Reply>& reply) {
    return reply == nullptr ? kFailed : reply->result;
}

// Copies the bytes of `reply` into a new array, which the caller releases with delete[]. Returns
// null when the size is negative, and when the bytes are absent or there is no memory.
inline uint8_t* copyBytes(const MVSReplyRawData& reply) {
    if (reply.size < 0 || (reply.size > 0 && reply.data == nullptr)) return nullptr;
    auto* copy = new (std::nothrow) uint8_t[static_cast<size_t>(reply.size)];
    if (copy != nullptr && reply.size > 0) {
        memcpy(copy, reply.data, static_cast<size_t>(reply.size));
    }
    return copy;
}

}  // namespace accessory

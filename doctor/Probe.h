#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include "doctor/Contract.h"
#include "protocol/MVCodes.h"
#include "protocol/MVServiceMessages.h"
#include "protocol/ServiceFramework.h"

// The library's side of the contract. These classes note what the framework does with them, and
// pass the framework's contents on to be examined.

namespace doctor {

using accessory::DeserializationContent;
using accessory::SerializationContent;
using accessory::ServiceItem;
using accessory::ServiceNotify;
using accessory::ServiceReply;
using android::sp;

// How often the framework has called each operation of a message.
struct MessageCalls {
    std::atomic<int> type{0};
    std::atomic<int> serialization{0};
    std::atomic<int> deserialization{0};
};

template <typename Family, Side kSide>
class ProbeMessage : public Guarded<Family, kSide> {
public:
    using Writer = std::function<void(SerializationContent&)>;
    using Reader = std::function<void(DeserializationContent&)>;

    ProbeMessage(MessageCalls& calls, int32_t code) : mCalls(calls), mCode(code) {}

    Writer write;
    Reader read;

    void serialization(sp<SerializationContent>& content) override;
    void deserialization(sp<DeserializationContent>& content) override;
    int32_t type() override {
        this->enter("type");
        ++mCalls.type;
        return mCode;
    }

private:
    MessageCalls& mCalls;
    const int32_t mCode;
};

using ProbeItem = ProbeMessage<ServiceItem, Side::kItem>;
using ProbeReply = ProbeMessage<ServiceReply, Side::kReply>;
using ProbeNotify = ProbeMessage<ServiceNotify, Side::kNotify>;

class ProbeListener : public Guarded<accessory::ServiceNotifyListener, Side::kListener> {
public:
    // The code of a notification, and the status in the framework's own notification.
    struct Event {
        int32_t type;
        int32_t status;
    };

    void onNotify(sp<ServiceNotify>& notify) override;
    // Waits for the next notification. Nothing when none comes.
    std::optional<Event> next(std::chrono::seconds patience);

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<Event> mEvents;
};

// What the framework does with a binding.
struct Observed {
    MessageCalls item, reply, notify;
    std::atomic<int> servicename{0};
    std::atomic<int> replyFactory{0};
    // The code that a factory was asked for last.
    std::atomic<int> replyCode{0}, notifyCode{0}, itemCode{0};
    // The last reply that was made, and who reads it.
    sp<ServiceReply> made;
    ProbeReply::Reader reader;
};

// A binding to the service, and what the framework does with it.
class Probe {
public:
    Probe();

    // False when the framework gives no client. A client that is not built as the contract says
    // ends the step, because it cannot be used.
    bool bind();

    // Sends an item that `write` fills. `read` gets the content of the reply.
    sp<ServiceReply> request(int32_t code, ProbeItem::Writer write, ProbeReply::Reader read = {});
    // Sends one of the service's commands, with arguments that mean nothing.
    sp<ServiceReply> command(int32_t command, int32_t value, ProbeReply::Reader read = {});

    // Stays to the end of the process, because a thread of the framework may come to it after the
    // step.
    Observed& observed = *new Observed;
    sp<accessory::ServiceClient> client;

private:
    sp<accessory::ServiceInfo> mInfo;
};

}  // namespace doctor

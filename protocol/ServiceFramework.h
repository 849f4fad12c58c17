#pragma once

#include "protocol/ServiceContract.h"

// What the service framework offers to this library. On the target these are the declarations of a
// closed library; its slot orders are binding. Of all this, only ServiceDiscoverer's two operations
// are linked by name, the rest is reached through virtual calls.

namespace accessory {

// The write side of one message's content. Every operation appends; a status other than 0 is an
// error code. Only the status of writeCString is ever looked at.
class SerializationContent : public virtual android::RefBase {
public:
    ~SerializationContent() override = default;
    virtual int32_t writeBuffer(const void* data, int64_t length) = 0;
    virtual int32_t writeInt32(int32_t value) = 0;
    virtual int32_t writeInt64(int64_t value) = 0;
    // Two operations of the framework that this library has no use for. They keep the place of
    // writeCString.
    virtual int32_t reserved1() = 0;
    virtual int32_t reserved2() = 0;
    virtual int32_t writeCString(const char* text) = 0;
};

// The read side. Past the end of the content an integer reads as 0, a buffer keeps what it held and
// a string is null.
class DeserializationContent : public virtual android::RefBase {
public:
    ~DeserializationContent() override = default;
    virtual int32_t readBuffer(void* dest, int64_t length) = 0;
    virtual int32_t readInt32() = 0;
    virtual int64_t readInt64() = 0;
    virtual int32_t reserved1() = 0;
    virtual int32_t reserved2() = 0;
    // The text belongs to the content. It is copied at once and never kept.
    virtual const char* readCString() = 0;
};

// A binding to one service. request() may be called from any thread, several at a time.
class ServiceClient : public virtual android::RefBase {
public:
    ~ServiceClient() override = default;
    // Sends `item` and waits for the reply. Null when none came.
    virtual sp<ServiceReply> request(sp<ServiceItem>& item) = 0;
    virtual int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) = 0;
    virtual int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) = 0;
};

class ServiceDiscoverer {
public:
    // The one discoverer of the process; never null.
    static ServiceDiscoverer* self();

    // Binds to the service that `info` names. Null when there is no such service.
    sp<ServiceClient> bindTo(sp<ServiceInfo>& info);
};

// The framework's own notification about the binding itself. Its class belongs to the framework's
// library: it is recognised by its type code and read by place, never by a run-time type cast.
class ServiceStatusNotify : public ServiceNotify {
public:
    static constexpr int32_t kType = -1;
    static constexpr int32_t kServiceLost = 2;

    int32_t status = 0;
};

}  // namespace accessory

#pragma once

#include <utils/RefBase.h>

#include <cstdint>

// The abstract classes through which the service framework calls into this library. The framework
// is a library of its own that was built against the same slot orders: neither the order of the
// virtual operations below nor the virtual inheritance from RefBase may change. Nothing here has
// data members or code outside the header, so that neither library needs a symbol of the other.

namespace accessory {

using android::sp;

class SerializationContent;
class DeserializationContent;

// A message. It is made for one request, belongs to one thread at a time and dies with its last
// sp<>. Its content is what serialization() writes, in that order; the type code travels beside
// the content and is the framework's business.
class SerializationBase : public virtual android::RefBase {
public:
    ~SerializationBase() override = default;
    virtual void serialization(sp<SerializationContent>& content) = 0;
    virtual void deserialization(sp<DeserializationContent>& content) = 0;
};

// A request. type() is the fixed code of the class; items, notifications and replies number theirs
// independently of each other.
class ServiceItem : public SerializationBase {
public:
    virtual int32_t type() = 0;
};

class ServiceNotify : public SerializationBase {
public:
    virtual int32_t type() = 0;
};

class ServiceReply : public SerializationBase {
public:
    virtual int32_t type() = 0;
};

// Receives the notifications of the client that it is registered with, on the framework's threads.
class ServiceNotifyListener : public virtual android::RefBase {
public:
    ~ServiceNotifyListener() override = default;
    virtual void onNotify(sp<ServiceNotify>& notify) = 0;
};

// A factory makes an empty message from its type code, and answers null for a code without a
// class. The framework calls it on any of its threads.
class ServiceNotifyFactory : public virtual android::RefBase {
public:
    ~ServiceNotifyFactory() override = default;
    virtual sp<ServiceNotify> create(int type) = 0;
};

class ServiceItemFactory : public virtual android::RefBase {
public:
    ~ServiceItemFactory() override = default;
    virtual sp<ServiceItem> create(int type) = 0;
};

class ServiceReplyFactory : public virtual android::RefBase {
public:
    ~ServiceReplyFactory() override = default;
    virtual sp<ServiceReply> create(int type) = 0;
};

class ServiceProtocol : public virtual android::RefBase {
public:
    ~ServiceProtocol() override = default;
    virtual sp<ServiceNotifyFactory> notifyFactory() = 0;
    virtual sp<ServiceItemFactory> itemFactory() = 0;
    virtual sp<ServiceReplyFactory> replyFactory() = 0;
};

// Names a service and hands out the protocol that it speaks.
class ServiceInfo : public virtual android::RefBase {
public:
    ~ServiceInfo() override = default;
    virtual const char* servicename() = 0;
    virtual sp<ServiceProtocol> protocol() = 0;
};

}  // namespace accessory

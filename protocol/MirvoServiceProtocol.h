#pragma once

#include "protocol/ServiceContract.h"

namespace accessory {

// The factories make an empty message of the class that has the code, or null where none has.

class MirvoServiceNotifyFactory final : public ServiceNotifyFactory {
public:
    sp<ServiceNotify> create(int type) override;
};

class MirvoServiceItemFactory final : public ServiceItemFactory {
public:
    sp<ServiceItem> create(int type) override;
};

class MirvoServiceReplyFactory final : public ServiceReplyFactory {
public:
    sp<ServiceReply> create(int type) override;
};

// Holds the three factories of one binding.
class MirvoServiceProtocol final : public ServiceProtocol {
public:
    MirvoServiceProtocol();
    ~MirvoServiceProtocol() override;

    sp<ServiceNotifyFactory> notifyFactory() override { return mNotifyFactory; }
    sp<ServiceItemFactory> itemFactory() override { return mItemFactory; }
    sp<ServiceReplyFactory> replyFactory() override { return mReplyFactory; }

private:
    sp<ServiceNotifyFactory> mNotifyFactory = new MirvoServiceNotifyFactory;
    sp<ServiceItemFactory> mItemFactory = new MirvoServiceItemFactory;
    sp<ServiceReplyFactory> mReplyFactory = new MirvoServiceReplyFactory;
};

}  // namespace accessory

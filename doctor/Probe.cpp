#include "doctor/Probe.h"

#include <utility>

#include "doctor/Memory.h"
#include "doctor/Steps.h"

namespace doctor {
namespace {

using namespace accessory;

class ReplyFactory final : public Guarded<ServiceReplyFactory, Side::kReplyFactory> {
public:
    explicit ReplyFactory(Observed& observed) : mObserved(observed) {}
    sp<ServiceReply> create(int type) override {
        enter("create");
        mObserved.replyCode = type;
        const sp<ProbeReply> reply = new ProbeReply(mObserved.reply, type);
        reply->read = mObserved.reader;
        mObserved.made = reply;
        return reply;
    }

private:
    Observed& mObserved;
};

class NotifyFactory final : public Guarded<ServiceNotifyFactory, Side::kNotifyFactory> {
public:
    explicit NotifyFactory(Observed& observed) : mObserved(observed) {}
    sp<ServiceNotify> create(int type) override {
        enter("create");
        mObserved.notifyCode = type;
        return new ProbeNotify(mObserved.notify, type);
    }

private:
    Observed& mObserved;
};

class ItemFactory final : public Guarded<ServiceItemFactory, Side::kItemFactory> {
public:
    explicit ItemFactory(Observed& observed) : mObserved(observed) {}
    sp<ServiceItem> create(int type) override {
        enter("create");
        mObserved.itemCode = type;
        return new ProbeItem(mObserved.item, type);
    }

private:
    Observed& mObserved;
};

class Protocol final : public Guarded<ServiceProtocol, Side::kProtocol> {
public:
    explicit Protocol(Observed& observed)
        : mObserved(observed),
          mNotify(new NotifyFactory(observed)),
          mItem(new ItemFactory(observed)),
          mReply(new ReplyFactory(observed)) {}
    sp<ServiceNotifyFactory> notifyFactory() override {
        enter("notifyFactory");
        return mNotify;
    }
    sp<ServiceItemFactory> itemFactory() override {
        enter("itemFactory");
        return mItem;
    }
    sp<ServiceReplyFactory> replyFactory() override {
        enter("replyFactory");
        ++mObserved.replyFactory;
        return mReply;
    }

private:
    Observed& mObserved;
    const sp<ServiceNotifyFactory> mNotify;
    const sp<ServiceItemFactory> mItem;
    const sp<ServiceReplyFactory> mReply;
};

class Info final : public Guarded<ServiceInfo, Side::kInfo> {
public:
    explicit Info(Observed& observed) : mObserved(observed), mProtocol(new Protocol(observed)) {}
    const char* servicename() override {
        enter("servicename");
        ++mObserved.servicename;
        return "mirvo.accessory.manager";
    }
    sp<ServiceProtocol> protocol() override {
        enter("protocol");
        return mProtocol;
    }

private:
    Observed& mObserved;
    const sp<ServiceProtocol> mProtocol;
};

// A content of a wrong class ends the step, since its slots are in other places.
void checkContent(const void* content, const char* name) {
    if (content == nullptr) conclude(bad(std::string("the framework gives no ") + name));
    const std::string fault = faultOfBase(content);
    if (!fault.empty()) conclude(bad(std::string("the framework's ") + name + ": " + fault));
}

}  // namespace

template <typename Family, Side kSide>
void ProbeMessage<Family, kSide>::serialization(sp<SerializationContent>& content) {
    this->enter("serialization");
    ++mCalls.serialization;
    if (!write) return;
    checkContent(content.get(), "SerializationContent");
    write(*content);
}

template <typename Family, Side kSide>
void ProbeMessage<Family, kSide>::deserialization(sp<DeserializationContent>& content) {
    this->enter("deserialization");
    ++mCalls.deserialization;
    if (!read) return;
    checkContent(content.get(), "DeserializationContent");
    read(*content);
}

template class ProbeMessage<ServiceItem, Side::kItem>;
template class ProbeMessage<ServiceReply, Side::kReply>;
template class ProbeMessage<ServiceNotify, Side::kNotify>;

void ProbeListener::onNotify(sp<ServiceNotify>& notify) {
    enter("onNotify");
    if (notify == nullptr) return;
    Event event = {notify->type(), 0};
    if (event.type == ServiceStatusNotify::kType) {
        event.status = static_cast<ServiceStatusNotify&>(*notify).status;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    mEvents.push_back(event);
    mChanged.notify_all();
}

std::optional<ProbeListener::Event> ProbeListener::next(std::chrono::seconds patience) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mChanged.wait_for(lock, patience, [this] { return !mEvents.empty(); })) return {};
    const Event event = mEvents.front();
    mEvents.pop_front();
    return event;
}

Probe::Probe() : mInfo(new Info(observed)) {}

bool Probe::bind() {
    // Checked before a reference is taken, because that already needs the base.
    calling("ServiceDiscoverer::bindTo");
    const sp<ServiceClient> bound = ServiceDiscoverer::self()->bindTo(mInfo);
    if (bound == nullptr) return false;
    const std::string fault = faultOfBase(bound.get());
    if (!fault.empty()) conclude(bad("the framework's ServiceClient: " + fault));
    client = bound;
    return true;
}

sp<ServiceReply> Probe::request(int32_t code, ProbeItem::Writer write, ProbeReply::Reader read) {
    const sp<ProbeItem> probe = new ProbeItem(observed.item, code);
    probe->write = std::move(write);
    observed.reader = std::move(read);
    sp<ServiceItem> item = probe;
    calling("ServiceClient::request");
    return client->request(item);
}

sp<ServiceReply> Probe::command(int32_t command, int32_t value, ProbeReply::Reader read) {
    return request(
        MVServiceItem::MANAGER_COMMON,
        [=](SerializationContent& content) {
            calling("SerializationContent");
            content.writeInt32(command);
            content.writeInt32(value);
            content.writeInt64(-1);
            content.writeCString(".");
            content.writeInt32(0);
        },
        std::move(read));
}

}  // namespace doctor

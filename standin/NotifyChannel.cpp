#include "standin/NotifyChannel.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "standin/Fork.h"
#include "standin/Log.h"
#include "standin/ReadContent.h"

namespace accessory::standin {

using android::AutoMutex;

namespace {

std::atomic<uint64_t> nextKey{1};

class StatusNotify final : public ServiceStatusNotify {
public:
    int32_t type() override { return kType; }
    void serialization(sp<SerializationContent>& content) override { content->writeInt32(status); }
    void deserialization(sp<DeserializationContent>& content) override {
        status = content->readInt32();
    }
};

void logCutOff(const uint8_t* content, size_t size) {
    const sp<ReadContent> reason = new ReadContent;
    reason->reset(content, size);
    const char* text = reason->readCString();
    logError("the service has cut this process off: %s", text == nullptr ? "" : text);
}

}  // namespace

NotifyChannel::NotifyChannel(const sp<ServiceNotifyFactory>& factory,
                             const std::shared_ptr<std::atomic<bool>>& lost)
    : mKey(nextKey++),
      mFactory(factory),
      mLost(lost),
      mContent(new ReadContent),
      mEntries(std::make_shared<Entries>()) {}

NotifyChannel::Added NotifyChannel::add(const sp<ServiceNotifyListener>& listener) {
    AutoMutex lock(mMutex);
    if (mClosed) return Added::kClosed;
    for (const auto& entry : *mEntries) {
        if (entry->listener == listener) return Added::kListening;
    }
    auto entries = std::make_shared<Entries>(*mEntries);
    entries->push_back(std::make_shared<Entry>(listener));
    mEntries = std::move(entries);
    return mEnded ? Added::kEnded : Added::kListening;
}

bool NotifyChannel::remove(const sp<ServiceNotifyListener>& listener) {
    // Destroyed after the lock is released, because its listeners may be destroyed with it.
    std::shared_ptr<const Entries> old;
    {
        AutoMutex lock(mMutex);
        old = mEntries;
        auto entries = std::make_shared<Entries>();
        for (const auto& entry : *old) {
            if (entry->listener == listener) {
                entry->removed = true;
            } else {
                entries->push_back(entry);
            }
        }
        if (entries->size() == old->size()) return false;
        mEntries = entries;
        if (!entries->empty()) return false;
        mClosed = true;
    }
    return true;
}

void NotifyChannel::close() {
    std::shared_ptr<const Entries> old = std::make_shared<Entries>();
    {
        AutoMutex lock(mMutex);
        mClosed = true;
        mEntries.swap(old);
        for (const auto& entry : *old) {
            entry->removed = true;
        }
        // The socket itself is closed with the channel, because a delivery may still be using it.
        if (mFd) shutdown(mFd.get(), SHUT_RDWR);
    }
}

void NotifyChannel::setSocket(UniqueFd fd) {
    AutoMutex lock(mMutex);
    mFd = std::move(fd);
    if (mClosed) shutdown(mFd.get(), SHUT_RDWR);
}

void NotifyChannel::abandon() {
    mAbandoned = true;
    // The end of the socket makes the pool process the channel.
    shutdown(mFd.get(), SHUT_RDWR);
}

std::shared_ptr<const NotifyChannel::Entries> NotifyChannel::entries() const {
    AutoMutex lock(mMutex);
    return mEntries;
}

bool NotifyChannel::process(uint8_t* buffer) {
    static_cast<void>(mHandedOn.load(std::memory_order_acquire));
    const bool more = receive(buffer);
    mHandedOn.store(true, std::memory_order_release);
    return more;
}

bool NotifyChannel::over() const {
    return mAbandoned || mClosed || inForkedChild();
}

bool NotifyChannel::receive(uint8_t* buffer) {
    while (!over()) {
        const ssize_t size = recv(mFd.get(), buffer, kMaxDatagram, MSG_DONTWAIT | MSG_TRUNC);
        if (size < 0) {
            if (errno == EAGAIN) return true;
            // A reset is reported once. What had come before it can be read afterwards.
            if (errno == EINTR || errno == ECONNRESET) continue;
            logError("cannot receive notifications: %s", errorText(errno).c_str());
            break;
        }
        if (size == 0) break;
        if (!processDatagram(buffer, static_cast<size_t>(size))) {
            logError("what came for notifications is no frame: %zd bytes", size);
            break;
        }
    }
    mAbandoned = true;
    if (!mClosed && !inForkedChild()) tellLoss();
    return false;
}

bool NotifyChannel::processDatagram(const uint8_t* data, size_t size) {
    if (size > kMaxDatagram) return false;
    while (size > 0 && !over()) {
        FrameHeader header;
        if (!readHeader(data, size, header)) return false;
        if (header.kind == FrameKind::kCutOff) {
            logCutOff(data + kHeaderSize, partLength(header));
            mAbandoned = true;
            return true;
        }
        if (header.kind != FrameKind::kNotify) return false;
        if (!processFrame(header, data + kHeaderSize)) return false;
        const size_t length = kHeaderSize + partLength(header);
        data += length;
        size -= length;
    }
    return true;
}

bool NotifyChannel::processFrame(const FrameHeader& header, const uint8_t* part) {
    if (header.length <= kMaxPart) {
        if (!mAssembly.empty()) return false;
        deliver(header.type, part, header.length);
        return true;
    }
    uint8_t* place = mAssembly.place(header);
    if (place == nullptr) return false;
    std::memcpy(place, part, partLength(header));
    if (mAssembly.missing() == 0) deliver(header.type, mAssembly.take(), header.length);
    return true;
}

void NotifyChannel::deliver(int32_t type, const uint8_t* content, size_t size) {
    const sp<ServiceNotify> notify = mFactory->create(type);
    if (notify == nullptr) {
        logError("a notification of unknown type %d is dropped", type);
        return;
    }
    auto& reader = static_cast<ReadContent&>(*mContent);
    reader.reset(content, size);
    notify->deserialization(mContent);
    if (reader.endedEarly()) {
        logError("a notification of type %d ends early and is dropped", type);
        return;
    }
    const std::shared_ptr<const Entries> current = entries();
    for (const auto& entry : *current) {
        if (entry->removed || inForkedChild()) continue;
        // Each listener gets a pointer of its own, because it may change it.
        sp<ServiceNotify> own = notify;
        entry->listener->onNotify(own);
    }
}

std::shared_ptr<NotifyChannel::Entry> NotifyChannel::nextToTell() {
    AutoMutex lock(mMutex);
    for (const auto& entry : *mEntries) {
        if (!std::exchange(entry->toldOfLoss, true)) return entry;
    }
    mEnded = true;
    return nullptr;
}

void NotifyChannel::tellLoss() {
    mLost->store(true);
    while (const std::shared_ptr<Entry> entry = nextToTell()) {
        sp<StatusNotify> status = new StatusNotify;
        status->status = ServiceStatusNotify::kServiceLost;
        sp<ServiceNotify> own = status;
        entry->listener->onNotify(own);
    }
}

}  // namespace accessory::standin

#include "recorder/Client.h"

#include <algorithm>

namespace recorder {

using android::AutoMutex;

void Listener::onNotify(sp<ServiceNotify>& notify) {
    // The framework may release this listener during the call. The reference keeps it alive, and
    // with it the real listener.
    const sp<Listener> self(this);
    if (notify == nullptr || !mRecorder->recording()) return mReal->onNotify(notify);

    Recorder::Place place = mPlace;
    place.sequence = mRecorder->newSequence();
    const int32_t type = notify->type();
    uint64_t begin = 0;
    if (type == accessory::ServiceStatusNotify::kType) {
        // The class of this notification is the framework's own. Only the place of its first field
        // is known, so it is read by place.
        const auto* status = static_cast<accessory::ServiceStatusNotify*>(notify.get());
        begin = mRecorder->addStatus(place, status->status);
    } else {
        begin = mRecorder->add(FrameKind::kNotify, place, *notify, type);
    }
    mReal->onNotify(notify);
    mRecorder->add(FrameKind::kEnded, place, begin);
}

Client::Client(Recorder* recorder, const sp<ServiceClient>& real)
    : mRecorder(recorder), mBinding(recorder->newBinding()), mReal(real) {
    mRecorder->add(FrameKind::kBound, {mBinding, 0, 0});
}

Client::~Client() {
    mRecorder->add(FrameKind::kUnbound, {mBinding, 0, 0});
}

sp<ServiceReply> Client::request(sp<ServiceItem>& item) {
    const sp<Client> self(this);
    if (item == nullptr || !mRecorder->recording()) return mReal->request(item);

    const Recorder::Place place{mBinding, 0, mRecorder->newSequence()};
    const uint64_t begin = mRecorder->add(FrameKind::kRequest, place, *item, item->type());
    sp<ServiceReply> reply = mReal->request(item);
    if (reply == nullptr) {
        mRecorder->add(FrameKind::kNoReply, place, begin);
    } else {
        mRecorder->add(FrameKind::kReply, place, *reply, reply->type(), begin);
    }
    return reply;
}

int32_t Client::setNotifyListener(sp<ServiceNotifyListener>& listener) {
    const sp<Client> self(this);
    if (listener == nullptr) return mReal->setNotifyListener(listener);
    sp<Listener> mine;
    {
        // A framework may compare listeners, so the same listener always gets the same wrapper.
        AutoMutex lock(mMutex);
        for (const sp<Listener>& known : mListeners) {
            if (known->real() == listener) mine = known;
        }
        if (mine == nullptr) {
            mine = new Listener(mRecorder, mBinding, listener);
            mListeners.push_back(mine);
        }
    }
    mRecorder->add(FrameKind::kListenerSet, mine->place());
    sp<ServiceNotifyListener> wrapped = mine;
    return mReal->setNotifyListener(wrapped);
}

int32_t Client::removeNotifyListener(sp<ServiceNotifyListener>& listener) {
    const sp<Client> self(this);
    sp<Listener> mine;
    {
        AutoMutex lock(mMutex);
        const auto found =
            std::find_if(mListeners.begin(), mListeners.end(),
                         [&](const auto& known) { return known->real() == listener; });
        if (found != mListeners.end()) {
            mine = *found;
            mListeners.erase(found);
        }
    }
    if (mine == nullptr) return mReal->removeNotifyListener(listener);
    mRecorder->add(FrameKind::kListenerRemoved, mine->place());
    sp<ServiceNotifyListener> wrapped = mine;
    return mReal->removeNotifyListener(wrapped);
}

}  // namespace recorder

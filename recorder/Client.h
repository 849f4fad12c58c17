#pragma once

#include <utils/Mutex.h>

#include <utility>
#include <vector>

#include "protocol/ServiceFramework.h"
#include "recorder/Recorder.h"

namespace recorder {

using accessory::ServiceClient;
using accessory::ServiceItem;
using accessory::ServiceNotify;
using accessory::ServiceNotifyListener;
using accessory::ServiceReply;
using accessory::sp;

// Stands between the framework and one listener of the library. The framework calls it on whatever
// thread delivers, which may also be inside a request.
class Listener final : public ServiceNotifyListener {
public:
    Listener(Recorder* recorder, uint32_t binding, const sp<ServiceNotifyListener>& real)
        : mRecorder(recorder), mPlace{binding, recorder->newListener(), 0}, mReal(real) {}

    void onNotify(sp<ServiceNotify>& notify) override;

    const Recorder::Place& place() const { return mPlace; }
    const sp<ServiceNotifyListener>& real() const { return mReal; }

private:
    Recorder* const mRecorder;
    const Recorder::Place mPlace;
    const sp<ServiceNotifyListener> mReal;
};

// Stands between the library and one binding of the framework. Thread-safe. No lock is held while
// the framework or the library is called.
class Client final : public ServiceClient {
public:
    Client(Recorder* recorder, const sp<ServiceClient>& real);
    ~Client() override;

    sp<ServiceReply> request(sp<ServiceItem>& item) override;
    int32_t setNotifyListener(sp<ServiceNotifyListener>& listener) override;
    int32_t removeNotifyListener(sp<ServiceNotifyListener>& listener) override;

private:
    Recorder* const mRecorder;
    const uint32_t mBinding;
    const sp<ServiceClient> mReal;

    android::Mutex mMutex;
    std::vector<sp<Listener>> mListeners GUARDED_BY(mMutex);
};

}  // namespace recorder

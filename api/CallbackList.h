#pragma once

#include <pthread.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "accessory/CallbackScope.h"

namespace zrmirvo {

// The callbacks that an application has registered with one object, in the order of registration,
// each once. Knows which of them is running on which thread, so that removing one can wait for it.
//
// The lock is never held while a callback runs. A thread that is inside a callback, whatever it
// belongs to, never waits here: two callbacks that remove each other would wait for ever.
template <typename Callback>
class CallbackList {
public:
    CallbackList() = default;
    CallbackList(const CallbackList&) = delete;
    CallbackList& operator=(const CallbackList&) = delete;

    // False once the list is closed.
    bool add(Callback* callback) {
        android::AutoMutex lock(mLock);
        if (mClosed) return false;
        const auto end = mCallbacks.end();
        if (std::find(mCallbacks.begin(), end, callback) == end) mCallbacks.push_back(callback);
        return true;
    }

    // Removes `callback`, if it is there, and waits until it runs on no other thread. Also waits
    // for one that somebody else has removed and that is still running.
    void remove(Callback* callback) {
        android::AutoMutex lock(mLock);
        erase(callback);
        awaitEnd([&](const Delivery& delivery) { return delivery.mRunning == callback; });
    }

    // Removes every callback for good, without waiting.
    void close() {
        android::AutoMutex lock(mLock);
        mClosed = true;
        mCallbacks.clear();
    }

    // Waits, as remove() does, until no callback runs.
    void drain() {
        android::AutoMutex lock(mLock);
        awaitEnd([](const Delivery& delivery) { return delivery.mRunning != nullptr; });
    }

    bool closed() {
        android::AutoMutex lock(mLock);
        return mClosed;
    }

    // Whether no delivery is under way.
    bool idle() {
        android::AutoMutex lock(mLock);
        return mDeliveries.empty();
    }

    // Calls `call` with every callback, as a loop over the index does: what a callback adds is
    // called too, and a callback that removes itself makes the one behind it be skipped. What other
    // threads add or remove meanwhile makes nobody else be skipped or called twice.
    template <typename Call>
    void forEach(Call call) {
        accessory::CallbackScope scope;
        Delivery delivery(*this);
        while (Callback* callback = next(delivery))
            call(*callback);
    }

private:
    // One forEach() under way, on the stack of its thread.
    struct Delivery {
        explicit Delivery(CallbackList& list) : mList(list), mThread(pthread_self()) {
            android::AutoMutex lock(mList.mLock);
            mList.mDeliveries.push_back(this);
        }
        // Also ends the call that an exception has left.
        ~Delivery() {
            android::AutoMutex lock(mList.mLock);
            auto& all = mList.mDeliveries;
            all.erase(std::find(all.begin(), all.end(), this));
            mList.mEnded.broadcast();
        }
        Delivery(const Delivery&) = delete;
        Delivery& operator=(const Delivery&) = delete;

        CallbackList& mList;
        const pthread_t mThread;
        size_t mNext = 0;
        Callback* mRunning = nullptr;
        uint64_t mCall = 0;
    };

    Callback* next(Delivery& delivery) {
        android::AutoMutex lock(mLock);
        if (delivery.mRunning != nullptr) mEnded.broadcast();
        delivery.mRunning = nullptr;
        if (delivery.mNext >= mCallbacks.size()) return nullptr;
        delivery.mCall = ++mCalls;
        return delivery.mRunning = mCallbacks[delivery.mNext++];
    }

    void erase(Callback* callback) REQUIRES(mLock) {
        const auto it = std::find(mCallbacks.begin(), mCallbacks.end(), callback);
        if (it == mCallbacks.end()) return;
        const auto place = static_cast<size_t>(it - mCallbacks.begin());
        mCallbacks.erase(it);
        for (Delivery* delivery : mDeliveries) {
            const bool own = pthread_equal(delivery->mThread, pthread_self()) != 0;
            if (!own && place < delivery->mNext) --delivery->mNext;
        }
    }

    // Waits for the calls that are running now, not for those that begin meanwhile: a callback that
    // was registered again would keep the caller here.
    template <typename Match>
    void awaitEnd(Match match) REQUIRES(mLock) {
        if (accessory::CallbackScope::active()) return;
        const uint64_t last = mCalls;
        const auto running = [&](const Delivery* delivery) {
            return delivery->mCall <= last && match(*delivery);
        };
        while (std::any_of(mDeliveries.begin(), mDeliveries.end(), running))
            mEnded.wait(mLock);
    }

    android::Mutex mLock;
    android::Condition mEnded;
    bool mClosed GUARDED_BY(mLock) = false;
    uint64_t mCalls GUARDED_BY(mLock) = 0;
    std::vector<Callback*> mCallbacks GUARDED_BY(mLock);
    std::vector<Delivery*> mDeliveries GUARDED_BY(mLock);
};

}  // namespace zrmirvo

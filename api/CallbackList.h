#pragma once

#include <pthread.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "accessory/CallbackScope.h"
#include "accessory/Probes.h"

namespace zrmirvo {

// The callbacks that an application has registered with one object, in the order of registration,
// each once, and the deliveries of that object's events. The list knows which callback is running
// on which thread, so that removing one can wait for it.
//
// The lock is never held during a delivery. A thread that is inside a callback, whatever it belongs
// to, never waits here: two callbacks that remove each other would wait for ever.
template <typename Callback>
class CallbackList {
public:
    CallbackList() = default;
    CallbackList(const CallbackList&) = delete;
    CallbackList& operator=(const CallbackList&) = delete;

    // Returns false once the list is closed.
    bool add(Callback* callback) {
        android::AutoMutex lock(mLock);
        if (mClosed) return false;
        const auto end = mCallbacks.end();
        if (std::find(mCallbacks.begin(), end, callback) == end) mCallbacks.push_back(callback);
        return true;
    }

    // Removes `callback`, if it is there, and waits until it runs on no other thread. It also waits
    // for a callback that somebody else has removed and that is still running.
    void remove(Callback* callback) {
        android::AutoMutex lock(mLock);
        erase(callback);
        awaitEnd([&](const Delivery& delivery) { return delivery.mCallback == callback; });
    }

    // Removes every callback for good, without waiting. Nothing begins to run after this.
    void close() {
        android::AutoMutex lock(mLock);
        mClosed = true;
        mCallbacks.clear();
    }

    // Waits, as remove() does, until no callback and no other delivery runs.
    void drain() {
        android::AutoMutex lock(mLock);
        awaitEnd([](const Delivery& delivery) { return delivery.mRunning; });
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
        // Names the event: the caller is a function of that name.
        [[maybe_unused]] static constexpr const char* kEvent = __PRETTY_FUNCTION__;
        accessory::CallbackScope scope;
        Delivery delivery(*this);
        while (next(delivery)) {
            ZRMIRVO_PROBE2(callback__start, kEvent, delivery.mCallback);
            call(*delivery.mCallback);
            ZRMIRVO_PROBE2(callback__done, kEvent, delivery.mCallback);
        }
    }

    // Does `work` as a delivery that calls no callback, unless the list is closed.
    template <typename Work>
    void unlessClosed(Work work) {
        accessory::CallbackScope scope;
        Delivery delivery(*this);
        if (begin(delivery)) work();
    }

private:
    // One delivery under way, on the stack of its thread.
    struct Delivery {
        explicit Delivery(CallbackList& list) : mList(list), mThread(pthread_self()) {
            android::AutoMutex lock(mList.mLock);
            mList.mDeliveries.push_back(this);
        }
        // This also ends a call that an exception has left.
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
        // The call that runs, and the callback that it is for, if it is for one.
        bool mRunning = false;
        Callback* mCallback = nullptr;
        uint64_t mCall = 0;
    };

    bool begin(Delivery& delivery) {
        android::AutoMutex lock(mLock);
        if (!mClosed) start(delivery, nullptr);
        return !mClosed;
    }

    bool next(Delivery& delivery) {
        android::AutoMutex lock(mLock);
        if (delivery.mRunning) mEnded.broadcast();
        delivery.mRunning = false;
        delivery.mCallback = nullptr;
        if (delivery.mNext >= mCallbacks.size()) return false;
        start(delivery, mCallbacks[delivery.mNext++]);
        return true;
    }

    void start(Delivery& delivery, Callback* callback) REQUIRES(mLock) {
        delivery.mRunning = true;
        delivery.mCallback = callback;
        delivery.mCall = ++mCalls;
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

    // Waits for the calls that are running now, and not for those that begin meanwhile, because a
    // callback that was registered again would keep the caller here.
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

#pragma once

#include <zrmirvo/ZRMirvoCallback.h>

#include <memory>
#include <utility>

#include "Adapters.h"
#include "PhoneState.h"
#include "SessionCore.h"

namespace zrmirvo::detail {

// Receives the manager's events on the library's delivery threads, for the session's thread.
class ManagerEvents final : public ZRMirvoManagerCallback {
public:
    explicit ManagerEvents(SessionCore& core) : mCore(core) {}

    void onError() noexcept override { mCore.lose(SessionCore::Loss::Service); }
    void onAttach(unsigned int accessoryId) noexcept override {
        mCore.changed({accessoryId, true});
    }
    void onDetach(unsigned int accessoryId) noexcept override {
        mCore.changed({accessoryId, false});
    }

private:
    SessionCore& mCore;
};

// Receives the events of one phone on the library's delivery threads, for the loop.
class PhoneEvents final : public PhoneAdapter<std::shared_ptr<PhoneState>> {
public:
    PhoneEvents(const std::shared_ptr<SessionCore>& core, std::shared_ptr<PhoneState> phone)
        : PhoneAdapter(std::shared_ptr<QueueCore>(core, &core->mQueue), std::move(phone)),
          mCore(*core) {}

    void refused() noexcept override { mCore.lose(SessionCore::Loss::Overflow); }

private:
    SessionCore& mCore;
};

}  // namespace zrmirvo::detail

#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "LibraryEvents.h"
#include "PhoneState.h"
#include "SessionCore.h"

namespace zrmirvo::detail {

// The phones that are attached. Used on the session's thread, unless a comment says otherwise.
class Phones {
public:
    explicit Phones(std::shared_ptr<SessionCore> core) : mCore(std::move(core)) {}

    // A phone is there. bind() will report it to the application.
    void attach(unsigned int id) { mLines[id]; }

    // Gets the instances that are missing, and reports their phones. False when the library gives
    // none for a phone.
    bool bind(ZRMirvoManager& manager) {
        bool bound = true;
        for (auto& [id, line] : mLines) {
            if (line.phone != nullptr) continue;
            ZRMirvo* instance = mCore->undisturbed() ? obtain(manager, id) : nullptr;
            if (instance == nullptr) {
                bound = false;
                continue;
            }
            line.phone = std::make_shared<PhoneState>(mCore, id);
            line.phone->mInstance = instance;
            line.events = std::make_unique<PhoneEvents>(mCore, line.phone);
            mCore->mQueue.postTask(
                [phone = line.phone] { phone->mSession->mHandlers.phone(phone); });
            instance->RegisterCallback(line.events.get());
        }
        return bound;
    }

    void detach(unsigned int id, ZRMirvoManager& manager) {
        const auto found = mLines.find(id);
        if (found == mLines.end()) return;
        const Line line = std::move(found->second);
        mLines.erase(found);
        if (line.phone == nullptr) return;
        manager.ReleaseMirvoInstance(line.phone->mInstance);
        end(line);
    }

    // The manager has been released, and all instances with it.
    void endAll() {
        for (const auto& entry : std::exchange(mLines, {})) {
            if (entry.second.phone != nullptr) end(entry.second);
        }
    }

    // Destroys the handlers. Called on the loop's thread after the session's thread has ended.
    void clear() {
        for (const auto& entry : std::exchange(mLines, {})) {
            if (entry.second.phone != nullptr) entry.second.phone->clear();
        }
    }

private:
    // A phone that is attached. As long as it has no instance, the application does not know it.
    struct Line {
        std::shared_ptr<PhoneState> phone;
        std::unique_ptr<PhoneEvents> events;
    };

    // When the process has no descriptors for a binding, the library gives an instance
    // nevertheless. It never works, and nothing shows this.
    ZRMirvo* obtain(ZRMirvoManager& manager, unsigned int id) const {
        const bool works = roomToBind();
        ZRMirvo* instance = manager.GetMirvoInstance(id);
        if (works || instance == nullptr) return instance;
        manager.ReleaseMirvoInstance(instance);
        return nullptr;
    }

    // Whether the process has the descriptors of a binding, one for requests and one for events,
    // and another for the request before it, which may need a new connection.
    bool roomToBind() const {
        std::array<int, 3> taken{};
        for (int& fd : taken)
            fd = fcntl(mCore->mQueue.fd(), F_DUPFD_CLOEXEC, 0);
        bool room = true;
        for (const int fd : taken) {
            room = room && fd >= 0;
            if (fd >= 0) ::close(fd);
        }
        return room;
    }

    void end(const Line& line) {
        line.phone->mInstance = nullptr;
        {
            const std::lock_guard lock(mCore->mLock);
            line.phone->mGone = true;
        }
        mCore->mQueue.postEvent(std::make_unique<GoneEvent>(line.phone));
    }

    const std::shared_ptr<SessionCore> mCore;
    std::map<unsigned int, Line> mLines;
};

}  // namespace zrmirvo::detail

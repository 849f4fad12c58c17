#pragma once

#include <poll.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Pending.h"
#include "Phone.h"
#include "Status.h"
#include "Types.h"
#include "detail/Operation.h"
#include "detail/SessionCore.h"
#include "detail/Worker.h"

namespace zrmirvo {

// Connects a head unit with the projection service. Events come on the application's own thread,
// requests return at once, and after a loss the session finds the service again.
//
//     zrmirvo::Session session("3.6");
//     session.onPhone([](zrmirvo::Phone phone) {
//         phone.onRunningState([phone](int state) { … });
//         phone.key(zrmirvo::Key::Back, zrmirvo::Press::Down);
//     });
//     session.run();                       // or fd() and dispatch() in your own loop
//
// There is one session in a process, since there is one manager. A second one does nothing, and its
// requests end with Status::Code::SecondSession. Three things are forbidden, which a session cannot
// notice: calling ZRMirvoManager::GetInstance while a session exists, having a session in another
// shared object as well, and using it in a child after fork().
//
// Threads: handlers are set, run and destroyed on the thread that dispatches; the session is
// constructed and destroyed there, too. Requests, Pending and stop() are thread-safe. Only get(),
// run() and the destructor block. A lock that a handler takes may be held during every call but
// dispatch() and run(). A thread of the session makes all calls of the library. It blocks all
// signals but those of its own faults.
//
// Ownership: the application owns the session. Phone and Pending may outlive it. A process may end
// with exit() without destroying the session.
//
// Recovery: when the service is lost, onGone is called for each phone. The session then looks for
// the service until it answers, sends the settings, starts it and reports its phones. It repeats a
// startup that the service refuses. When more events wait than `options` allows, some are missing.
// The session then acts as if the service were lost, and looks for it again after the loss has been
// dispatched.
class Session {
public:
    // How long the session waits, and how much it keeps.
    using Options = SessionOptions;

    // `version` is the version that the application was built for, such as "3.6". The session
    // begins its work with the first call of fd(), dispatch(), run() or Pending::get(), so set
    // handlers before it. Throws std::system_error when the process can have no further descriptor
    // or thread.
    explicit Session(std::string version, const Options& options = {})
        : mCore(std::make_shared<detail::SessionCore>(
              options, mClaim.first() ? Fate::Open : Fate::SecondSession)),
          mWorker(mCore, std::move(version)) {
        if (!mClaim.first()) return;
        const BlockedSignals blocked;
        mThread = std::thread([this] { mWorker.run(); });
    }

    // Drops the requests that have not been sent, waits for the one that is under way, and releases
    // the manager. Blocks at most for two request timeouts and the time of a binding; when a phone
    // has just reported an error, at most one request timeout more, for what the library does about
    // it. A handler may destroy its own session: the dispatch that is under way then runs nothing
    // more and returns.
    ~Session() {
        if (mThread.joinable()) {
            mCore->close();
            mThread.join();
        }
        mCore->end(Fate::Closed);
        mCore->mQueue.close();
        const detail::SessionCore::Handlers cleared = std::exchange(mCore->mHandlers, {});
        mWorker.clear();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // The descriptor for poll, epoll and the loops that are built on them. It is readable while
    // something waits (level-triggered). Neither read nor close it. It is valid as long as the
    // session.
    int fd() {
        mCore->begin();
        return mCore->mQueue.fd();
    }

    // Handles the events that wait at the moment of the call: runs handlers, and the functions
    // given to Pending::then. Returns how many events it has handled. Never waits. May be called
    // inside a handler. When a handler throws, dispatch() ends with its exception, and the events
    // behind it wait for the next dispatch.
    size_t dispatch() {
        const std::shared_ptr<detail::SessionCore> core = mCore;
        core->begin();
        return core->mQueue.dispatch();
    }

    // Dispatches and waits in turn, until stop() is called or the session is destroyed.
    void run() {
        const std::shared_ptr<detail::SessionCore> core = mCore;
        core->begin();
        while (!core->mStopped.exchange(false)) {
            if (core->mQueue.dispatchOne()) continue;
            if (core->mQueue.closed()) return;
            pollfd entry{core->mQueue.fd(), POLLIN, 0};
            poll(&entry, 1, -1);
        }
    }

    // Makes run() return after the handler that is running. When nothing is in run(), the next
    // run() returns at once.
    void stop() {
        mCore->mStopped = true;
        mCore->mQueue.postTask([] {});
    }

    // Handlers. Each replaces the one that was set before; null removes it. A handler may replace
    // itself.

    // A phone is there. Called for each phone, also for those that were there before the session,
    // of which the library can list ten.
    // Set the handlers of the phone inside this one, so that they miss nothing.
    void onPhone(std::function<void(Phone phone)> run) {
        using State = std::shared_ptr<detail::PhoneState>;
        std::function<void(const State&)> wrapped;
        if (run) wrapped = [run = std::move(run)](const State& state) { run(Phone(state)); };
        mCore->mHandlers.phone.set(std::move(wrapped));
    }
    // Whether the service is there. Called once when this is known, then at each change.
    void onService(std::function<void(bool there)> run) {
        mCore->mHandlers.service.set(std::move(run));
    }
    // The versions of the application, of the library and of the service do not fit together. This
    // is final: the session stops looking for the service, and every request ends with
    // Status::Code::VersionMismatch. The library asks for the service's version once in a process.
    // When there is no service at that moment, it assumes 3.6.3. A session that begins before its
    // service therefore does not notice when a later service has another version.
    void onVersionMismatch(std::function<void(const ZRMirvoVersion& versions)> run) {
        mCore->mHandlers.versionMismatch.set(std::move(run));
    }

    // Requests. Each returns at once. The operation of ZRMirvoManager that does the same says what
    // is not said here. A request that could not be sent within Options::longestWait is dropped.

    // The session keeps settings and sends them at each start of the service, these two before
    // `startup`. It keeps the last of each kind whatever its status is, unless this is QueueFull,
    // or Refused because of the text. Of those that wait for a start only the last is sent, and the
    // others end with its status.
    Pending<Status> configFile(std::string path) {
        return control(Control::What::ConfigFile, std::move(path));
    }
    // `text` has at most 31 characters.
    Pending<Status> bluetoothConfig(std::string text, int value) {
        return control(Control::What::BluetoothConfig, std::move(text), value);
    }
    // Kept, too, each with another text, but sent after `startup`. Code::Done means that it has
    // been sent.
    Pending<Status> connect(std::string argument) {
        return control(Control::What::Connect, std::move(argument));
    }
    // Ends a connection. With the text of a connect(), or with an empty one for all, the session
    // also forgets that connect(), whatever the status is. Code::Done means that the request has
    // been sent.
    Pending<Status> disconnect(std::string argument) {
        return control(Control::What::Disconnect, std::move(argument));
    }

    // Starts the service, with the settings. The session does this by itself, and again at each
    // recovery.
    Pending<Status> startup() { return control(Control::What::Startup); }
    // Stops the service. The session does not start it again, not even after a recovery, before the
    // application calls startup(). It starts nothing by itself while this request waits.
    Pending<Status> shutdown() { return control(Control::What::Shutdown); }

    // Lists the numbers of the phones, at most ten.
    Pending<Result<std::vector<unsigned int>>> ids() {
        return ask<std::vector<unsigned int>>([](ZRMirvoManager& manager) {
            std::vector<unsigned int> ids(10);
            unsigned int count = 0;
            const int result = manager.getIds(ids.data(), &count);
            ids.resize(count);
            return Result<std::vector<unsigned int>>(Status::ofResult(result), std::move(ids));
        });
    }

    // Reads the HID descriptor.
    Pending<Result<Bytes>> hidDescriptor() {
        return ask<Bytes>([](ZRMirvoManager& manager) {
            detail::BytesOut out;
            return out.with(manager.getHidDescriptor(out.data(), out.length()));
        });
    }

    // The versions of library and service.
    Pending<Result<ZRMirvoVersion>> versions() {
        return ask<ZRMirvoVersion>([](ZRMirvoManager& /*manager*/) {
            return Result<ZRMirvoVersion>(Status(Status::Code::Done), ZRMirvoManager::getVersion());
        });
    }

private:
    using Fate = detail::SessionCore::Fate;
    using Control = detail::Control;

    // Marks this session as the first of the process as long as it exists. Later ones are refused.
    class Claim {
    public:
        ~Claim() {
            if (mFirst) taken() = false;
        }
        Claim() = default;
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        bool first() const { return mFirst; }

    private:
        static std::atomic<bool>& taken() {
            static std::atomic<bool> flag{false};
            return flag;
        }
        const bool mFirst = !taken().exchange(true);
    };

    // A thread that is started while this exists blocks all signals but those of its own faults.
    class BlockedSignals {
    public:
        BlockedSignals() {
            sigset_t blocked;
            sigfillset(&blocked);
            for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
                sigdelset(&blocked, fault);
            pthread_sigmask(SIG_SETMASK, &blocked, &mBefore);
        }
        ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
        BlockedSignals(const BlockedSignals&) = delete;
        BlockedSignals& operator=(const BlockedSignals&) = delete;

    private:
        sigset_t mBefore{};
    };

    Pending<Status> control(Control::What what, std::string text = "", int value = 0) {
        const char* fault = nullptr;
        if (text.find('\0') != std::string::npos) fault = "a text ends before its end";
        if (what == Control::What::BluetoothConfig && text.size() > 31) {
            fault = "a Bluetooth text has at most 31 characters";
        }
        return detail::submit<Status>(
            std::make_shared<Control>(mCore, what, std::move(text), value), fault);
    }

    template <typename T, typename Call>
    Pending<Result<T>> ask(Call call) {
        const auto perform = [call](ZRMirvoManager& manager, ZRMirvo* /*phone*/) {
            return call(manager);
        };
        using Made = detail::Operation<Result<T>, std::decay_t<decltype(perform)>>;
        return detail::submit<Result<T>>(std::make_shared<Made>(mCore, nullptr, perform));
    }

    const Claim mClaim;
    const std::shared_ptr<detail::SessionCore> mCore;
    detail::Worker mWorker;
    std::thread mThread;
};

}  // namespace zrmirvo

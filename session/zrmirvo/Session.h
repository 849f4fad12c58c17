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

// The projection service as a head unit wants it: events on the application's own thread, requests
// that return at once, and a service that is found again after it was lost.
//
//     zrmirvo::Session session("3.6");
//     session.onPhone([](zrmirvo::Phone phone) {
//         phone.onRunningState([phone](int state) { … });
//         phone.key(zrmirvo::Key::Back, zrmirvo::Press::Down);
//     });
//     session.run();                       // or fd() and dispatch() in a loop of one's own
//
// There is one session in a process, since there is one manager. A second one does nothing, and its
// requests end with Status::Code::SecondSession. What a session cannot see is forbidden: nobody
// else calls ZRMirvoManager::GetInstance while it exists, no other shared object has a session of
// its own, and no child goes on using it after fork().
//
// Threads: handlers are set on the thread that dispatches, run there, and are destroyed there; the
// session is constructed and destroyed there, too. Requests, Pending and stop() are thread-safe.
// Nothing but get(), run() and the destructor blocks, and nothing takes a lock of the application:
// one that a handler takes may be held around every call but dispatch() and run(). All calls of the
// library are made by a thread of the session's own, which has no signals but those of its own
// faults.
//
// Ownership: the application owns the session. Phone and Pending may outlive it. exit() without the
// destructor is safe.
//
// Recovery: when the service is lost, each phone is told to be gone, and the session looks for the
// service until it answers, starts it, with the settings, and reports its phones. A startup that
// the service refuses is repeated likewise. When more events wait than `options` allows, some are
// missing, and that is treated as a loss of the service, too: the session looks for it again once
// the loss has been dispatched.
class Session {
public:
    // How long it waits, and how much it keeps.
    using Options = SessionOptions;

    // `version` is the version that the application was built for, "3.6". The session begins with
    // the first call of fd(), dispatch() or run(), or Pending::get(): what is set before is there
    // from the start. Throws std::system_error when there is no descriptor or no thread to be had.
    explicit Session(std::string version, const Options& options = {})
        : mCore(std::make_shared<detail::SessionCore>(
              options, mClaim.first() ? Fate::Open : Fate::SecondSession)),
          mWorker(mCore, std::move(version)) {
        if (!mClaim.first()) return;
        const BlockedSignals blocked;
        mThread = std::thread([this] { mWorker.run(); });
    }

    // Drops what has not been sent, waits for the one request that is under way, and releases the
    // manager. Blocks for at most two request timeouts and a binding, and for what the library does
    // about an error that a phone has just reported, at most one request timeout more. Inside a
    // handler of its own it is allowed: the dispatch that is under way runs nothing more and
    // returns.
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

    // Is readable while something waits, for poll, epoll and whatever is built on them; it is
    // level-triggered. Neither read nor close it. Valid as long as the session.
    int fd() {
        mCore->begin();
        return mCore->mQueue.fd();
    }

    // Runs the handlers and continuations of what waited when it was called, and returns how many
    // events that were. Never waits. May be called inside a handler. An exception of a handler
    // passes through; what waits behind it is run by the next dispatch.
    size_t dispatch() {
        const std::shared_ptr<detail::SessionCore> core = mCore;
        core->begin();
        return core->mQueue.dispatch();
    }

    // Dispatches until stop() is called or the session is destroyed, and waits in between.
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

    // Makes run() return after the handler that is running; the next run(), if there is none.
    void stop() {
        mCore->mStopped = true;
        mCore->mQueue.postTask([] {});
    }

    // Handlers. Each takes the place of the one set before; null sets none. A handler may set
    // itself anew.

    // A phone is there: each one, those included that were there before. Its handlers are set here,
    // so that they miss nothing.
    void onPhone(std::function<void(Phone phone)> run) {
        using State = std::shared_ptr<detail::PhoneState>;
        std::function<void(const State&)> wrapped;
        if (run) wrapped = [run = std::move(run)](const State& state) { run(Phone(state)); };
        mCore->mHandlers.phone.set(std::move(wrapped));
    }
    // Whether the service is there: once when that is known, then at each change.
    void onService(std::function<void(bool there)> run) {
        mCore->mHandlers.service.set(std::move(run));
    }
    // The version of the application, of the library and of the service do not fit together. That
    // is final: the session does not look for the service any more, and every request ends with
    // Status::Code::VersionMismatch. The library asks for the service's version once in a process,
    // and takes a service that is missing then for 3.6.3: so a session that begins before its
    // service does not notice that a later one is of another version.
    void onVersionMismatch(std::function<void(const ZRMirvoVersion& versions)> run) {
        mCore->mHandlers.versionMismatch.set(std::move(run));
    }

    // Requests. Each returns at once. What is not said here is said at the operation of
    // ZRMirvoManager that does the same. One that is not sent within Options::longestWait is not
    // sent any more.

    // The settings are kept and sent at each start of the service, these two before `startup`. They
    // are kept whatever their status, save for Refused because of the text, and QueueFull.
    Pending<Status> configFile(std::string path) {
        return control(Control::What::ConfigFile, std::move(path));
    }
    // At most 31 characters.
    Pending<Status> bluetoothConfig(std::string text, int value) {
        return control(Control::What::BluetoothConfig, std::move(text), value);
    }
    // Kept as well, and sent after `startup`. Done means sent.
    Pending<Status> connect(std::string argument) {
        return control(Control::What::Connect, std::move(argument));
    }
    // The same text as that of connect(), or an empty one, also ends the keeping of that. Done
    // means sent.
    Pending<Status> disconnect(std::string argument) {
        return control(Control::What::Disconnect, std::move(argument));
    }

    // Starts the service, with the settings. The session does so by itself, at each recovery again.
    Pending<Status> startup() { return control(Control::What::Startup); }
    // Stops the service until startup(), across recoveries. While it waits, nothing is started.
    Pending<Status> shutdown() { return control(Control::What::Shutdown); }

    // Lists the numbers of the phones, at most ten. onPhone tells of all.
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

    // Of the sessions of this process, one at a time is the first.
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

    // Keeps from a thread that is started meanwhile all signals but those of its own faults.
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

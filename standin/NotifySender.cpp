#include "standin/NotifySender.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "standin/Log.h"
#include "standin/Thread.h"

namespace accessory::standin {

using android::AutoMutex;

namespace {

// How often somebody who waits asks whether that is over.
constexpr nsecs_t kOverSlice = ms2ns(50);

// A longer reason is cut.
constexpr size_t kMaxReason = 1000;

// The last frame that a client gets. Its socket may be full, so it gets more room for this one.
// When that is not to be had either, the client does without the reason.
void sendReason(int fd, const std::string& reason) {
    int size = 0;
    socklen_t length = sizeof(size);
    if (getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) == 0) {
        // The kernel doubles what it is given.
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, length);
    }
    const std::string text = reason.substr(0, kMaxReason);
    FrameHeader header;
    header.kind = FrameKind::kCutOff;
    header.length = static_cast<uint32_t>(text.size() + 1);
    std::string frame(reinterpret_cast<const char*>(&header), kHeaderSize);
    frame.append(text.c_str(), header.length);
    ::send(fd, frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace

NotifySender::NotifySender(size_t queueLimit, CutOff cutOff, Changed changed)
    : mQueueLimit(queueLimit),
      mCutOff(std::move(cutOff)),
      mChanged(std::move(changed)),
      mContent(new WriteContent) {}

NotifySender::~NotifySender() {
    stop();
}

bool NotifySender::prepare() {
    if (mThread.joinable()) return true;
    mEpoll.reset(epoll_create1(EPOLL_CLOEXEC));
    mWake.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    epoll_event event{};
    // Edge-triggered, because nobody reads the counter.
    event.events = EPOLLIN | EPOLLET;
    if (!mEpoll || !mWake || epoll_ctl(mEpoll.get(), EPOLL_CTL_ADD, mWake.get(), &event) != 0) {
        logError("cannot send notifications: %s", errorText(errno).c_str());
        return false;
    }
    mThread = startThread([this] { run(); });
    return mThread.joinable();
}

bool NotifySender::watch(Listener& listener, int operation, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = &listener;
    return epoll_ctl(mEpoll.get(), operation, listener.fd.get(), &event) == 0;
}

bool NotifySender::add(UniqueFd fd, pid_t process, uint32_t number) {
    AutoMutex lock(mMutex);
    if (mStopping || !prepare()) return false;
    auto listener = std::make_unique<Listener>(std::move(fd), process, number);
    // The client expects this frame in a datagram of its own and before any notification. Sending
    // it does not wait, because nothing else is in the socket.
    FrameHeader header;
    header.kind = FrameKind::kListening;
    // This comes last, because from then on the thread may use the listener.
    if (::send(listener->fd.get(), &header, kHeaderSize, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 ||
        !watch(*listener, EPOLL_CTL_ADD, EPOLLIN)) {
        logError("cannot watch a listener: %s", errorText(errno).c_str());
        return false;
    }
    mListeners.push_back(std::move(listener));
    ++mListened;
    wake();
    return true;
}

size_t NotifySender::notify(ServiceNotify& notify, pid_t process) {
    size_t reached = 0;
    std::vector<pid_t> overflowed;
    {
        AutoMutex writing(mWriting);
        auto& content = static_cast<WriteContent&>(*mContent);
        content.clear();
        notify.serialization(mContent);
        FrameHeader header;
        header.kind = FrameKind::kNotify;
        header.type = notify.type();
        header.length = static_cast<uint32_t>(content.size());
        if (content.tooLong()) {
            logError("notification %d is longer than %zu bytes and was not sent", header.type,
                     kMaxContent);
            return 0;
        }
        AutoMutex lock(mMutex);
        for (const auto& listener : mListeners) {
            const bool meant = process == kEveryProcess || process == listener->process;
            if (!meant || !listener->listens()) continue;
            listener->queue.append(header, content);
            ++reached;
            if (listener->queue.bytes() <= mQueueLimit) continue;
            listener->cutOff = true;
            if (std::find(overflowed.begin(), overflowed.end(), listener->process) ==
                overflowed.end()) {
                overflowed.push_back(listener->process);
            }
        }
        wake();
    }
    for (const pid_t slow : overflowed) {
        mCutOff(slow, "it does not keep up with its notifications");
    }
    return reached;
}

void NotifySender::wake() {
    if (!mAsleep) return;
    mAsleep = false;
    eventfd_write(mWake.get(), 1);
}

bool NotifySender::waitForRoom(int milliseconds, const std::function<bool()>& over) {
    AutoMutex lock(mMutex);
    for (;;) {
        bool room = true;
        nsecs_t patience = 0;
        for (const auto& listener : mListeners) {
            if (!listener->listens() || listener->queue.bytes() <= mQueueLimit / 2) continue;
            room = false;
            const nsecs_t idle = systemTime() - listener->queue.lastProgress();
            patience = std::max(patience, ms2ns(milliseconds) - idle);
        }
        if (room || patience == 0 || mStopping || (over && over())) return room;
        mTaken.waitRelative(mMutex, over ? std::min(patience, kOverSlice) : patience);
    }
}

size_t NotifySender::waitUntilTaken(int milliseconds) {
    const nsecs_t until = systemTime() + ms2ns(milliseconds);
    AutoMutex lock(mMutex);
    for (;;) {
        size_t waiting = 0;
        for (const auto& listener : mListeners) {
            if (listener->listens()) waiting += listener->queue.notifications();
        }
        const nsecs_t left = until - systemTime();
        if (waiting == 0 || left <= 0 || mStopping) return waiting;
        mTaken.waitRelative(mMutex, left);
    }
}

bool NotifySender::disconnect(pid_t process, const std::string& reason) {
    bool found = false;
    AutoMutex lock(mMutex);
    for (const auto& listener : mListeners) {
        if (listener->process != process || listener->dead) continue;
        // One connection is enough, because the process has one log.
        if (!found) listener->reason = reason;
        found = true;
        listener->dead = true;
        // Nothing comes behind the reason, so otherwise the thread does this when it has sent.
        if (!listener->sending) end(*listener);
    }
    wake();
    mTaken.broadcast();
    return found;
}

void NotifySender::end(const Listener& listener) {
    if (listener.reason) sendReason(listener.fd.get(), *listener.reason);
    shutdown(listener.fd.get(), SHUT_RDWR);
}

size_t NotifySender::clients() const {
    AutoMutex lock(mMutex);
    return mListeners.size();
}

size_t NotifySender::listened() const {
    AutoMutex lock(mMutex);
    return mListened;
}

std::vector<ServiceHost::Connection> NotifySender::connections() const {
    std::vector<ServiceHost::Connection> all;
    AutoMutex lock(mMutex);
    for (const auto& listener : mListeners) {
        if (listener->listens()) all.push_back({listener->process, listener->number, true});
    }
    return all;
}

void NotifySender::stop() {
    std::thread thread;
    {
        AutoMutex lock(mMutex);
        if (!mThread.joinable()) return;
        mStopping = true;
        thread = std::move(mThread);
        mTaken.broadcast();
        wake();
    }
    thread.join();
    AutoMutex lock(mMutex);
    mStopping = false;
}

void NotifySender::run() {
    do {
        flush();
        removeDead(false);
    } while (fallAsleep());
    removeDead(true);
}

bool NotifySender::fallAsleep() {
    {
        AutoMutex lock(mMutex);
        for (const auto& listener : mListeners) {
            if (listener->ready()) return true;
        }
        if (mStopping) return false;
        // A client has come since the last report, while this thread was awake.
        if (mListeners.size() != mReported) return true;
        mAsleep = true;
    }
    waitForEvents();
    AutoMutex lock(mMutex);
    mAsleep = false;
    return true;
}

void NotifySender::flush() {
    // One datagram to each in turn, so that nobody waits for another's backlog.
    bool sent = true;
    while (sent) {
        sent = false;
        for (size_t index = 0;; ++index) {
            NotifyQueue::Datagram datagram;
            Listener* listener = nullptr;
            {
                AutoMutex lock(mMutex);
                if (index >= mListeners.size()) break;
                listener = mListeners[index].get();
                if (!listener->ready()) continue;
                datagram = listener->queue.take();
                listener->sending = true;
            }
            send(*listener, std::move(datagram));
            sent = true;
        }
    }
}

void NotifySender::send(Listener& listener, NotifyQueue::Datagram datagram) {
    const ssize_t result = ::send(listener.fd.get(), datagram.bytes.data(), datagram.bytes.size(),
                                  MSG_DONTWAIT | MSG_NOSIGNAL);
    const bool full = result < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOBUFS);
    AutoMutex lock(mMutex);
    listener.sending = false;
    if (listener.dead) {
        end(listener);
        return;
    }
    if (full) {
        listener.queue.putBack(std::move(datagram));
        listener.blocked = true;
        watch(listener, EPOLL_CTL_MOD, EPOLLIN | EPOLLOUT);
        return;
    }
    listener.dead = result < 0;
    listener.queue.sent(std::move(datagram));
    mTaken.broadcast();
}

void NotifySender::waitForEvents() {
    epoll_event events[32];
    const int count = epoll_wait(mEpoll.get(), events, 32, -1);
    for (int i = 0; i < count; ++i) {
        // The event without a listener is the wake-up.
        if (events[i].data.ptr == nullptr) continue;
        handle(*static_cast<Listener*>(events[i].data.ptr), events[i].events);
    }
}

void NotifySender::handle(Listener& listener, uint32_t events) {
    // A client that listens has nothing to send, so anything but room for more is its end.
    const bool dead = (events & ~EPOLLOUT) != 0;
    uint8_t byte;
    if (dead && recv(listener.fd.get(), &byte, 1, MSG_DONTWAIT) > 0) {
        logError("process %d sends where it asked to listen", listener.process);
    }
    AutoMutex lock(mMutex);
    if (dead) {
        listener.dead = true;
        mTaken.broadcast();
    }
    if (listener.blocked && (events & EPOLLOUT) != 0) {
        listener.blocked = false;
        watch(listener, EPOLL_CTL_MOD, EPOLLIN);
    }
}

void NotifySender::removeDead(bool all) {
    std::vector<std::unique_ptr<Listener>> removed;
    size_t left = 0;
    {
        AutoMutex lock(mMutex);
        const auto dead =
            std::stable_partition(mListeners.begin(), mListeners.end(),
                                  [all](const auto& listener) { return !all && !listener->dead; });
        std::move(dead, mListeners.end(), std::back_inserter(removed));
        mListeners.erase(dead, mListeners.end());
        left = mListeners.size();
    }
    // A client that came and went between two reports has changed the number, too.
    const bool changed = !removed.empty() || mReported != left;
    removed.clear();
    mReported = left;
    if (changed && mChanged) mChanged(left);
}

}  // namespace accessory::standin

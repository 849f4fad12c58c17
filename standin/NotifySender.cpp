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

// Datagrams kept for the next notifications once they have been sent.
constexpr size_t kMaxSpare = 4;

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
    // Edges: the counter is never read.
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

bool NotifySender::add(UniqueFd fd, pid_t pid) {
    AutoMutex lock(mMutex);
    if (mStopping || !prepare()) return false;
    auto listener = std::make_unique<Listener>(std::move(fd), pid);
    // In a datagram of its own, which is how the client receives it, and before any notification.
    // It does not wait: nothing has been sent on this socket yet.
    FrameHeader header;
    header.kind = FrameKind::kListening;
    // Watched last: from then on the sending thread may use the listener.
    if (::send(listener->fd.get(), &header, kHeaderSize, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 ||
        !watch(*listener, EPOLL_CTL_ADD, EPOLLIN)) {
        logError("cannot watch a listener: %s", errorText(errno).c_str());
        return false;
    }
    mListeners.push_back(std::move(listener));
    wake();
    return true;
}

void NotifySender::notify(ServiceNotify& notify) {
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
            return;
        }
        AutoMutex lock(mMutex);
        for (const auto& listener : mListeners) {
            if (listener->cutOff || listener->dead) continue;
            enqueue(*listener, header, &content);
            if (listener->queued <= mQueueLimit) continue;
            listener->cutOff = true;
            if (std::find(overflowed.begin(), overflowed.end(), listener->pid) ==
                overflowed.end()) {
                overflowed.push_back(listener->pid);
            }
        }
        wake();
    }
    for (const pid_t pid : overflowed) {
        logError("process %d does not keep up with its notifications and is cut off", pid);
        mCutOff(pid);
    }
}

void NotifySender::enqueue(Listener& listener, FrameHeader header, const WriteContent* content) {
    do {
        const size_t length = partLength(header);
        Datagram& datagram = lastWithRoom(listener, kHeaderSize + length);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&header);
        datagram.insert(datagram.end(), bytes, bytes + kHeaderSize);
        iovec pieces[WriteContent::kMaxPieces];
        const size_t count = length == 0 ? 0 : content->pieces(header.offset, length, pieces);
        for (size_t i = 0; i < count; ++i) {
            const auto* from = static_cast<const uint8_t*>(pieces[i].iov_base);
            datagram.insert(datagram.end(), from, from + pieces[i].iov_len);
        }
        listener.queued += kHeaderSize + length;
        header.offset += static_cast<uint32_t>(length);
    } while (header.offset < header.length);
}

NotifySender::Datagram& NotifySender::lastWithRoom(Listener& listener, size_t size) {
    auto& queue = listener.queue;
    if (!queue.empty() && queue.back().size() + size <= kMaxDatagram) return queue.back();
    if (mSpare.empty()) {
        queue.emplace_back();
    } else {
        queue.push_back(std::move(mSpare.back()));
        mSpare.pop_back();
    }
    return queue.back();
}

void NotifySender::wake() {
    if (!mAsleep) return;
    mAsleep = false;
    eventfd_write(mWake.get(), 1);
}

void NotifySender::drop(pid_t pid) {
    AutoMutex lock(mMutex);
    for (const auto& listener : mListeners) {
        if (listener->pid != pid) continue;
        listener->cutOff = true;
        shutdown(listener->fd.get(), SHUT_RDWR);
    }
}

size_t NotifySender::clients() const {
    AutoMutex lock(mMutex);
    return mListeners.size();
}

void NotifySender::stop() {
    std::thread thread;
    {
        AutoMutex lock(mMutex);
        if (!mThread.joinable()) return;
        mStopping = true;
        thread = std::move(mThread);
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
            const bool ready = !listener->queue.empty() && !listener->blocked;
            if (ready && !listener->dead) return true;
        }
        if (mStopping) return false;
        // Someone has come since the last report, unnoticed because this thread was awake.
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
            Datagram datagram;
            Listener* listener = nullptr;
            {
                AutoMutex lock(mMutex);
                if (index >= mListeners.size()) break;
                listener = takeNext(index, datagram);
            }
            if (listener == nullptr) continue;
            send(*listener, std::move(datagram));
            sent = true;
        }
    }
}

NotifySender::Listener* NotifySender::takeNext(size_t index, Datagram& datagram) {
    Listener& listener = *mListeners[index];
    if (listener.dead || listener.blocked || listener.queue.empty()) return nullptr;
    datagram = std::move(listener.queue.front());
    listener.queue.pop_front();
    return &listener;
}

void NotifySender::send(Listener& listener, Datagram datagram) {
    const ssize_t result =
        ::send(listener.fd.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    const bool full = result < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOBUFS);
    AutoMutex lock(mMutex);
    if (full) {
        listener.queue.push_front(std::move(datagram));
        listener.blocked = true;
        watch(listener, EPOLL_CTL_MOD, EPOLLIN | EPOLLOUT);
        return;
    }
    listener.dead = listener.dead || result < 0;
    listener.queued -= datagram.size();
    if (mSpare.size() >= kMaxSpare) return;
    datagram.clear();
    mSpare.push_back(std::move(datagram));
}

void NotifySender::waitForEvents() {
    epoll_event events[32];
    const int count = epoll_wait(mEpoll.get(), events, 32, -1);
    for (int i = 0; i < count; ++i) {
        // The one without a listener is the wake-up.
        if (events[i].data.ptr == nullptr) continue;
        handle(*static_cast<Listener*>(events[i].data.ptr), events[i].events);
    }
}

void NotifySender::handle(Listener& listener, uint32_t events) {
    bool dead = false;
    if ((events & ~EPOLLOUT) != 0) {
        uint8_t byte;
        const ssize_t size = recv(listener.fd.get(), &byte, 1, MSG_DONTWAIT);
        dead = size >= 0 || errno != EAGAIN;
        if (size > 0) logError("process %d sends where it asked to listen", listener.pid);
    }
    AutoMutex lock(mMutex);
    listener.dead = listener.dead || dead;
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
    // One that came and went between two reports has changed the number too.
    const bool changed = !removed.empty() || mReported != left;
    removed.clear();
    mReported = left;
    if (changed && mChanged) mChanged(left);
}

}  // namespace accessory::standin

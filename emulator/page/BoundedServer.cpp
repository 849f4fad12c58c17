#include "emulator/page/BoundedServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>

namespace emulator::page {

using android::AutoMutex;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// How long a browser may take to send a head, and later to send or to receive the next bytes.
constexpr milliseconds kPatience(2000);
constexpr size_t kMaxHead = 64u << 10;

}  // namespace

// One connection, which is closed with this object.
class BoundedServer::Connection : public httplib::Stream {
public:
    Connection(BoundedServer& server, socket_t socket) : mServer(server), mSocket(socket) {
        AutoMutex lock(mServer.mLock);
        mServer.mOpen.insert(mSocket);
        if (mServer.mOver) ::shutdown(mSocket, SHUT_RDWR);
    }
    ~Connection() override {
        {
            AutoMutex lock(mServer.mLock);
            mServer.mOpen.erase(mSocket);
        }
        ::shutdown(mSocket, SHUT_RDWR);
        close(mSocket);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void endHead() { mInHead = false; }

    bool is_readable() const override { return mBegin < mEnd || ready(POLLIN, kPatience); }
    bool is_writable() const override { return ready(POLLOUT | POLLRDHUP, kPatience); }

    ssize_t read(char* to, size_t size) override {
        if (mBegin == mEnd) {
            milliseconds time = kPatience;
            if (mInHead) time = std::chrono::ceil<milliseconds>(mHeadEnd - steady_clock::now());
            if (time.count() <= 0 || !ready(POLLIN, time)) return -1;
            const ssize_t count = recv(mSocket, mBuffer.data(), mBuffer.size(), 0);
            if (count <= 0) return count;
            mBegin = 0;
            mEnd = static_cast<size_t>(count);
        }
        size = std::min(size, mEnd - mBegin);
        if (mInHead) {
            if (size > mHeadLeft) return -1;
            mHeadLeft -= size;
        }
        std::copy_n(mBuffer.data() + mBegin, size, to);
        mBegin += size;
        return static_cast<ssize_t>(size);
    }

    ssize_t write(const char* from, size_t size) override {
        return is_writable() ? send(mSocket, from, size, MSG_NOSIGNAL) : -1;
    }

    // Both ends are on this host, and no handler asks for them.
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return mSocket; }

private:
    // Waits until one of `events` is possible. Returns false when the time is over or the other end
    // has gone.
    bool ready(int events, milliseconds time) const {
        pollfd source = {mSocket, static_cast<short>(events), 0};
        if (poll(&source, 1, static_cast<int>(time.count())) <= 0) return false;
        return (source.revents & (POLLERR | POLLRDHUP | POLLNVAL)) == 0;
    }

    BoundedServer& mServer;
    const socket_t mSocket;
    // The library reads the head byte by byte.
    std::array<char, 4096> mBuffer;
    size_t mBegin = 0;
    size_t mEnd = 0;
    bool mInHead = true;
    size_t mHeadLeft = kMaxHead;
    const steady_clock::time_point mHeadEnd = steady_clock::now() + kPatience;
};

void BoundedServer::cutOff() {
    AutoMutex lock(mLock);
    mOver = true;
    for (const socket_t socket : mOpen)
        ::shutdown(socket, SHUT_RDWR);
}

// Serves one request per connection, since a connection that waits for the next one would occupy a
// thread.
bool BoundedServer::process_and_close_socket(socket_t socket) {
    Connection connection(*this, socket);
    bool closed = false;
    return process_request(connection, true, closed,
                           [&](const auto& /*request*/) { connection.endHead(); });
}

}  // namespace emulator::page

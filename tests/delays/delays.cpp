// Delays system calls and locks at random, in every program that it is preloaded into.

// The system's checks of lengths define some of these functions inline.
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace {

// How many of a thousand calls are delayed, before and behind.
constexpr unsigned kCalls = 25;
constexpr unsigned kLocks = 1;
constexpr unsigned kRareCalls = 75;

// No lock and no memory, since this also runs in a signal handler and behind fork().
void mayDelay(unsigned permille) {
    static std::atomic<uint64_t> seed;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    // The finalizer of a known generator, so that all bits depend on the time.
    uint64_t chance = seed += static_cast<uint64_t>(now.tv_nsec) * 0x9E3779B97F4A7C15;
    chance = (chance ^ (chance >> 30)) * 0xBF58476D1CE4E5B9;
    chance = (chance ^ (chance >> 27)) * 0x94D049BB133111EB;
    chance ^= chance >> 31;
    if (chance % 1000 >= permille) return;
    // Nine of ten are shorter than a millisecond, the others up to 30.
    const bool isShort = (chance >> 20) % 10 != 0;
    const timespec delay = {0,
                            static_cast<long>((chance >> 32) % (isShort ? 1'000 : 30'000)) * 1'000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &delay, nullptr);
}

// Calls the function behind `Function`, which is this library's own.
template <auto* Function, typename... Arguments>
auto delayed(const char* name, unsigned permille, Arguments... arguments) {
    static const auto real = reinterpret_cast<decltype(Function)>(dlsym(RTLD_NEXT, name));
    mayDelay(permille);
    const auto result = real(arguments...);
    const int error = errno;
    mayDelay(permille);
    errno = error;
    return result;
}

}  // namespace

extern "C" {

ssize_t write(int fd, const void* data, size_t size) {
    return delayed<&::write>("write", kCalls, fd, data, size);
}
ssize_t read(int fd, void* data, size_t size) {
    return delayed<&::read>("read", kCalls, fd, data, size);
}
ssize_t send(int fd, const void* data, size_t size, int flags) {
    return delayed<&::send>("send", kCalls, fd, data, size, flags);
}
ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    return delayed<&::sendmsg>("sendmsg", kCalls, fd, message, flags);
}
ssize_t recv(int fd, void* data, size_t size, int flags) {
    return delayed<&::recv>("recv", kCalls, fd, data, size, flags);
}
ssize_t recvmsg(int fd, msghdr* message, int flags) {
    return delayed<&::recvmsg>("recvmsg", kCalls, fd, message, flags);
}
int poll(pollfd* sources, nfds_t count, int timeout) {
    return delayed<&::poll>("poll", kCalls, sources, count, timeout);
}
int epoll_wait(int fd, epoll_event* events, int count, int timeout) {
    return delayed<&::epoll_wait>("epoll_wait", kCalls, fd, events, count, timeout);
}
int connect(int fd, const sockaddr* address, socklen_t size) {
    return delayed<&::connect>("connect", kCalls, fd, address, size);
}
int shutdown(int fd, int how) noexcept {
    return delayed<&::shutdown>("shutdown", kRareCalls, fd, how);
}
int close(int fd) {
    return delayed<&::close>("close", kCalls, fd);
}
int tcsetattr(int fd, int when, const termios* settings) noexcept {
    return delayed<&::tcsetattr>("tcsetattr", kRareCalls, fd, when, settings);
}
pid_t fork() noexcept {
    return delayed<&::fork>("fork", kRareCalls);
}
int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    return delayed<&::pthread_mutex_lock>("pthread_mutex_lock", kLocks, mutex);
}
int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    return delayed<&::pthread_mutex_unlock>("pthread_mutex_unlock", kLocks, mutex);
}
}

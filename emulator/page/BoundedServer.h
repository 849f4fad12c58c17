#pragma once

#include <httplib.h>
#include <utils/Mutex.h>

#include <set>

namespace emulator::page {

// The server of the HTTP library, with bounds for the head of a request: its first line and its
// headers. The library only bounds the time between two bytes, so a client that sends one byte now
// and then would occupy a thread for as long as it likes.
//
// Threads: as httplib::Server. cutOff() is thread-safe.
class BoundedServer : public httplib::Server {
public:
    // Ends all connections, also those that come later. Otherwise a client that sends or reads
    // slowly would delay the end of the server.
    void cutOff();

private:
    class Connection;

    bool process_and_close_socket(socket_t socket) override;

    android::Mutex mLock;
    std::set<socket_t> mOpen GUARDED_BY(mLock);
    bool mOver GUARDED_BY(mLock) = false;
};

}  // namespace emulator::page

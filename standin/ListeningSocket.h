#pragma once

#include <sys/stat.h>

#include <string>

#include "standin/UniqueFd.h"

namespace accessory::standin {

// The socket on which a service is found. A locked file beside it keeps every other host from
// taking the same name. Whoever holds the lock may replace the socket, because the host that left
// it there is dead.
//
// Threads: one thread at a time.
class ListeningSocket {
public:
    ListeningSocket() = default;
    ~ListeningSocket() { close(); }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    // Makes the directory if it is missing, takes the name and listens. False, with one line in
    // the log, when one of these is not possible.
    bool open(const std::string& directory, const char* name);

    // Gives up the name. Nobody finds the socket any more, but it still listens.
    void withdraw();
    void close();

    int get() const { return mSocket.get(); }
    explicit operator bool() const { return static_cast<bool>(mSocket); }

private:
    bool lock();
    bool listen(const std::string& directory);

    std::string mPath;
    UniqueFd mLock;
    UniqueFd mSocket;
    struct stat mFile {};  // the socket's
};

}  // namespace accessory::standin

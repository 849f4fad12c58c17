#pragma once

#include <sys/un.h>

#include <string>

namespace accessory::standin {

// The directory in which services are found, with one socket for each. It is SERVICE_FRAMEWORK_DIR,
// else a directory below XDG_RUNTIME_DIR, else one below the temporary directory.
std::string serviceDirectory();

// Whether `path` is a directory that belongs to this user and that nobody else can enter. One line
// in the log when it is something else, but none when it is missing.
bool checkDirectory(const std::string& path);

// As checkDirectory(), but makes a missing directory.
bool makeDirectory(const std::string& path);

// The path of a service's socket. Empty, with one line in the log, when the name cannot be that of
// a file or the path is too long for a socket.
std::string socketPath(const std::string& directory, const char* name);

// False when the path is too long for a socket's address.
bool fillAddress(sockaddr_un& address, const std::string& path);

// Whether the process at the other end runs as this user; `pid` is its number. One line in the log
// when it does not.
bool checkPeer(int fd, pid_t* pid = nullptr);

}  // namespace accessory::standin

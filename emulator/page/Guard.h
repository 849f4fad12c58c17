#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Who may use a page.

namespace emulator::page {

// Where a page is: its port, and the secret that is the first part of each path. Kept in a file
// that only its user can read, so that a page that is open finds the next service at the same
// place.
struct Place {
    static constexpr size_t kSecretLength = 32;  // hexadecimal digits

    int port = 0;
    std::string secret;

    // What `file` holds. Nothing when it is missing, or not a file that only this user can read.
    static std::optional<Place> read(const std::string& file);
    // False when it cannot be written; errno says why.
    bool write(const std::string& file) const;

    std::string host() const { return "127.0.0.1:" + std::to_string(port); }
    std::string origin() const { return "http://" + host(); }
    std::string address() const { return origin() + "/" + secret + "/"; }
};

// 128 bits from the system. Empty when it has none to give.
std::string makeSecret();

// Writes `content` to a file that nobody else can read, in the place of an older one. False when
// that cannot be; errno says why.
bool writePrivately(const std::string& file, const std::string& content);

// What of a request decides.
struct Visit {
    bool changes;  // a POST
    std::string path;
    // What these headers say; nothing where there is none, or more than one.
    std::optional<std::string> host;
    bool hasOrigin;
    std::optional<std::string> origin;
};

// Whether the visitor knows the secret, and is neither another site's page nor one that reached
// this host by another name.
bool admits(const Place& place, const Visit& visit);

}  // namespace emulator::page

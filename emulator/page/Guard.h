#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Decides who may use a page.

namespace emulator::page {

// Where a page is: its port, and the secret that is the first part of each path. Both are kept in a
// file that only its user can read, so that an open page finds the next service at the same place.
struct Place {
    static constexpr size_t kSecretLength = 32;  // hexadecimal digits

    int port = 0;
    std::string secret;

    // Reads `file`. Returns nothing when it is missing, or when others than this user can read it.
    static std::optional<Place> read(const std::string& file);
    // Writes it to a file. Returns false when this fails; errno says why.
    bool write(const std::string& file) const;

    std::string host() const { return "127.0.0.1:" + std::to_string(port); }
    std::string origin() const { return "http://" + host(); }
    std::string address() const { return origin() + "/" + secret + "/"; }
};

// Returns 128 random bits of the system as hexadecimal digits, or an empty text when the system
// gives none.
std::string makeSecret();

// Writes `content` to a file that nobody else can read, and that replaces an older one. Returns
// false when this fails; errno says why.
bool writePrivately(const std::string& file, const std::string& content);

// The parts of a request that decide whether it is allowed.
struct Visit {
    bool changes;  // a POST
    std::string path;
    // The values of these headers. Nothing when a header is missing or comes more than once.
    std::optional<std::string> host;
    bool hasOrigin;
    std::optional<std::string> origin;
};

// Whether the request has the secret, does not come from another site's page, and has reached this
// host by the name that was given for it.
bool admits(const Place& place, const Visit& visit);

}  // namespace emulator::page

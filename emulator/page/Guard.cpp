#include "emulator/page/Guard.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "tool/Text.h"

namespace emulator::page {
namespace {

// Takes the same time for every text with the secret's length, so that the time tells nothing about
// the secret.
bool sameSecret(std::string_view given, std::string_view secret) {
    if (given.size() != secret.size()) return false;
    unsigned difference = 0;
    for (size_t i = 0; i < secret.size(); ++i)
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(secret[i]);
    return difference == 0;
}

}  // namespace

std::optional<Place> Place::read(const std::string& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return {};
    struct stat status = {};
    std::array<char, 64> text = {};
    const bool ours = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
                      status.st_uid == geteuid() && (status.st_mode & 0777) == 0600;
    const ssize_t size = ours ? ::read(fd, text.data(), text.size()) : -1;
    close(fd);
    if (size <= 0) return {};
    // "PORT SECRET\n"
    const std::string_view line(text.data(), static_cast<size_t>(size));
    const size_t blank = line.find(' ');
    if (blank == std::string_view::npos || line.back() != '\n') return {};
    const auto port = tool::toNumber<uint16_t>(line.substr(0, blank));
    const std::string secret(line.substr(blank + 1, line.size() - blank - 2));
    if (!port || secret.size() != kSecretLength || !tool::fromHex(secret)) return {};
    return Place{*port, secret};
}

bool Place::write(const std::string& file) const {
    return writePrivately(file, std::to_string(port) + " " + secret + "\n");
}

std::string makeSecret() {
    std::array<uint8_t, Place::kSecretLength / 2> bytes = {};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return {};
    return tool::toHex(bytes.data(), bytes.size());
}

bool writePrivately(const std::string& file, const std::string& content) {
    // The content is written to a file with another name first. So nobody reads half of it, and a
    // file that somebody else has put in this place is never written to.
    std::string made = file + ".XXXXXX";
    const int fd = mkostemp(made.data(), O_CLOEXEC);
    if (fd < 0) return false;
    bool good = write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    good = close(fd) == 0 && good && rename(made.c_str(), file.c_str()) == 0;
    const int error = errno;
    if (!good) unlink(made.c_str());
    errno = error;
    return good;
}

bool admits(const Place& place, const Visit& visit) {
    const std::string_view path = visit.path;
    const size_t end = path.find('/', 1);
    if (end == std::string_view::npos || !sameSecret(path.substr(1, end - 1), place.secret))
        return false;
    if (visit.host != place.host()) return false;
    if (!visit.hasOrigin) return !visit.changes;
    return visit.origin == place.origin();
}

}  // namespace emulator::page

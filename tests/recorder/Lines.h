#pragma once

#include <string>
#include <vector>

// A recording as lines, one for each record, for tests to compare with what they expect.

namespace recorder_test {

// "BINDING KIND", and behind it what the record says; "torn" for an end that is torn. Throws when
// the file is no recording.
std::vector<std::string> lines(const std::string& path);

// How many of them begin with `text`, behind the binding.
size_t count(const std::vector<std::string>& all, const std::string& text);

// What does not fit together in a recording: a reply without its request, a thread that changed on
// the way, an end that precedes its beginning. Empty when all is well.
std::string faults(const std::string& path);

// The runtime of the address sanitizer wants to be loaded before every other library. While this
// lives, programs that are started may load the recorder before it.
class LinkOrder {
public:
    LinkOrder();
    ~LinkOrder();
    LinkOrder(const LinkOrder&) = delete;
    LinkOrder& operator=(const LinkOrder&) = delete;

private:
    std::string mBefore;
};

}  // namespace recorder_test

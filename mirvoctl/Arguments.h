#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The arguments of commands that are more than a number or a word. What cannot be understood is a
// CLI::ValidationError.

namespace mirvoctl {

// A key code of Android, by name or number.
uint32_t keyCode(const std::string& key);
// Those that have a name.
std::string keyNames();

// A touch as the library takes it.
struct TouchEvent {
    // Milliseconds since the machine was started.
    unsigned long long time;
    std::vector<unsigned int> array1;
    std::vector<unsigned int> array2;
    std::vector<unsigned int> array3;
    int action = 0;
    int extra = 0;

    // At the present time.
    TouchEvent();
    int count() const { return static_cast<int>(array1.size()); }
    // Three numbers with commas between.
    void addPointer(const std::string& pointer);
};

// A motion action of Android, by name or number.
int motionAction(const std::string& action);

// Hexadecimal digits or, behind @, the content of a file.
std::vector<uint8_t> bytesOf(const std::string& data);

}  // namespace mirvoctl

#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mirvoctl/RecordingOptions.h"
#include "tool/Text.h"

// The arguments of commands. What cannot be understood is a CLI::ValidationError.

namespace mirvoctl {

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

// What ends a monitor, and what it shows.
struct MonitorOptions {
    // Empty for all accessories.
    std::vector<uint32_t> ids;
    // This many events.
    std::optional<uint32_t> count;
    // This time since it began.
    std::optional<std::chrono::milliseconds> duration;
    // An event with this name. Empty for none.
    std::string until;
    // Whether it looks for the service again when that is lost.
    bool follow = false;
    // Whether each line of text has its time.
    bool timestamps = false;
};

// Those of all commands. One command runs at a time and uses its own.
struct Arguments {
    uint32_t accessory = 0;
    std::string text;
    int value = 0;
    uint32_t key = 0;
    std::string direction;
    TouchEvent touch;
    std::string state;
    uint32_t feature = 0;
    std::vector<uint8_t> data;
    std::vector<int> values;
    MonitorOptions monitor;
    RecordingOptions recording;

    bool on() const { return state == "on"; }
};

// A key code of Android, by name or number.
uint32_t keyCode(const std::string& key);
// A motion action of Android, by name or number.
int motionAction(const std::string& action);
// Those that have a name.
std::vector<std::string> keyNames();
std::vector<std::string> actionNames();
// All of them with commas between.
std::string listed(const std::vector<std::string>& names);

// Hexadecimal digits or, behind @, the content of a file.
std::vector<uint8_t> bytesOf(const std::string& data);

// Declares a number, which is written as in the emulator's commands. The parser's own numbers take
// "010" for 8, and "-1" for a number without a sign.
template <typename Number, typename Use>
CLI::Option* declareNumber(CLI::App& parser, const std::string& name, const std::string& help,
                           const Use& use) {
    const auto parse = [name, use](const std::string& given) {
        const auto number = tool::toNumber<Number>(given);
        if (!number) throw CLI::ValidationError(name, "not a number in range: " + given);
        use(*number);
    };
    return parser.add_option_function<std::string>(name, parse, help);
}

template <typename Number>
CLI::Option* declareNumber(CLI::App& parser, const std::string& name, Number& number,
                           const std::string& help) {
    return declareNumber<Number>(parser, name, help, [&](Number given) { number = given; });
}

}  // namespace mirvoctl

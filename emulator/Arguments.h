#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "emulator/RequestLog.h"
#include "tool/EmulatorCommands.h"
#include "tool/Text.h"

// What is typed behind a command's name, read as its row in the table of commands says.

namespace emulator {

// A line that cannot be understood; what() says why.
class SyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The arguments of one command by the names of the table. What is asked for must be there.
class Arguments {
public:
    using Value = std::variant<int64_t, std::string, tool::Bytes, std::vector<uint32_t>, Target,
                               std::vector<std::pair<std::string, Json>>>;

    bool has(const std::string& name) const { return mValues.count(name) > 0; }
    void set(const std::string& name, Value value) { mValues[name] = std::move(value); }

    template <typename Type>
    const Type& get(const std::string& name) const {
        return std::get<Type>(mValues.at(name));
    }
    template <typename Number = int32_t>
    Number number(const std::string& name) const {
        return static_cast<Number>(get<int64_t>(name));
    }
    uint32_t id() const { return number<uint32_t>("accessory"); }
    const tool::Bytes& data() const { return get<tool::Bytes>("data"); }
    const std::string& text(const std::string& name) const { return get<std::string>(name); }
    const Target& target() const { return get<Target>("operation"); }
    // Nothing when it was not given.
    std::optional<std::chrono::milliseconds> within() const;
    // A number or bytes, as JSON shows it.
    Json shown(const std::string& name) const;

private:
    std::map<std::string, Value> mValues;
};

// A command that has been understood.
struct Parsed {
    const tool::EmulatorCommand* command = nullptr;
    Arguments arguments;
    // The words of the line again.
    std::string line;
    // For `once` and `to`, the command behind.
    std::vector<Parsed> inner;
};

// Throws SyntaxError. There is at least one word.
Parsed parseCommand(const std::vector<std::string>& words);

}  // namespace emulator

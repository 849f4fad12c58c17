#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tool/Clock.h"
#include "tool/Lines.h"
#include "tool/StandardOutput.h"

namespace mirvoctl {

using tool::Json;

enum ExitStatus {
    kDone = 0,
    kRefused = 1,
    kBadCommand = 2,
    kNoService = 3,
    kNotSeen = 4,
    // Also for a standard output that cannot be written: tool::kCannotWrite.
};

// Ends a command with an exit status and a sentence about what to do.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& sentence)
        : std::runtime_error(sentence), mStatus(status) {}
    ExitStatus status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

// What a command has come to.
struct Outcome {
    // What one call of an operation returned, if it returns a status, and its data.
    struct Step {
        std::optional<int> status;
        Json data = Json::object();
    };

    // One for each call; several for a key that goes down and up. Calls end with the first that
    // fails. Empty for a command that is no operation of the library.
    std::vector<Step> steps = {};
    // What JSON has of a command without steps.
    Json data = Json::object();
    // What a person reads of a command without steps.
    std::string text = {};
    ExitStatus exit = kDone;
    // What went wrong and what to do about it.
    std::string error = {};
    // For a command that has printed everything itself.
    bool printed = false;
};

// What the tool prints. Thread-safe once its options are set, since a line leaves in one piece.
class Output {
public:
    explicit Output(tool::StandardOutput& standard) : mStandard(standard) {}

    bool json = false;
    bool quiet = false;

    // Prints what a command has come to: in JSON one object, otherwise a line for each step and a
    // sentence on standard error. `operation` is empty where the command is not known. Returns the
    // status that the tool ends with when nothing follows.
    ExitStatus outcome(const std::string& operation, Outcome outcome) const;
    // An event: its name, its fields and when it came. In JSON it has the field "event", which no
    // outcome has.
    void event(const std::string& name, const Json& fields, int64_t time, bool showTime) const;

    const tool::Clock& clock() const { return mClock; }
    tool::StandardOutput& standard() const { return mStandard; }

private:
    void outcomeAsJson(const std::string& operation, const Outcome& outcome) const;
    void outcomeAsText(const std::string& operation, const Outcome& outcome) const;

    tool::StandardOutput& mStandard;
    const tool::Clock mClock;
};

// Bytes in hexadecimal as `name`, and what of them is text. Null with length 0 is fine.
Json bytesAs(const char* name, const void* data, size_t length);
// The printable characters of the bytes, with a point in place of each other.
std::string printable(const void* data, size_t length);

}  // namespace mirvoctl

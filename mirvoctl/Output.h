#pragma once

#include <stdexcept>
#include <string>

#include "tool/Lines.h"
#include "tool/StandardOutput.h"

namespace mirvoctl {

using tool::Json;

enum ExitStatus { kDone = 0, kRefused = 1, kBadCommand = 2, kNoService = 3 };

// Ends a command with an exit status and a sentence about what to do.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& sentence)
        : std::runtime_error(sentence), mStatus(status) {}
    ExitStatus status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

// What the tool prints. Thread-safe once its options are set, since a line leaves in one piece.
class Output {
public:
    explicit Output(tool::StandardOutput& standard) : mStandard(standard) {}

    bool json = false;
    bool quiet = false;

    // What an operation returned, with its data. Throws Failure when the status is not 0.
    void result(const std::string& operation, int status, const Json& data = Json::object()) const;
    // What an operation without a status was asked.
    void sent(const std::string& operation) const;
    // A callback, or something that is no operation: `name` and its values.
    void event(const std::string& name, const Json& values) const;

    tool::StandardOutput& standard() const { return mStandard; }

private:
    tool::StandardOutput& mStandard;
};

// Bytes in hexadecimal as `name`, and what of them is text. Null with length 0 is fine.
Json bytesAs(const char* name, const void* data, size_t length);

}  // namespace mirvoctl

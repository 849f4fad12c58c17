#pragma once

#include <string>
#include <utility>
#include <vector>

#include "recording/Timeline.h"

namespace recording {

// Decides which arguments count when two runs of an application are compared: all but the time of a
// touch and those that the user names.
class Comparison {
public:
    explicit Comparison(std::vector<std::string> ignored) : mIgnored(std::move(ignored)) {
        mIgnored.emplace_back("time");
    }

    // The message without the arguments that do not count.
    Decoded operator()(Decoded decoded) const {
        for (const std::string& name : mIgnored)
            decoded.arguments.erase(name);
        return decoded;
    }
    Json operator()(Json answer) const {
        for (const std::string& name : mIgnored)
            answer.erase(name);
        return answer;
    }

private:
    std::vector<std::string> mIgnored;
};

}  // namespace recording
